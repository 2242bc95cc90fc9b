#ifndef TESTS_MATRIX_POOL_H
#define TESTS_MATRIX_POOL_H

#include <functional>
#include <vector>

#include "tests/matrix/cell.h"

// Runs each cell in a process of its own, so many at a time, and hands over each outcome as it
// comes. A process that crashes, is stopped by a sanitizer or takes longer than limitS has failed.
void runCells(const std::vector<sCell>& cells, int jobs, unsigned limitS,
              const std::function<void(const sCell&, const sOutcome&)>& done);

#endif
