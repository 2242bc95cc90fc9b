#ifndef TESTS_MATRIX_POOL_H
#define TESTS_MATRIX_POOL_H

#include <functional>
#include <vector>

#include "tests/matrix/cell.h"

// Runs each cell in a process of its own, jobs at a time, and passes on each outcome as it comes. A
// process fails if it crashes, is stopped by a sanitizer or takes longer than limitS.
void runCells(const std::vector<sCell>& cells, int jobs, unsigned limitS,
              const std::function<void(const sCell&, const sOutcome&)>& done);

#endif
