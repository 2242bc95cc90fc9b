#ifndef TESTS_MATRIX_MATRIX_H
#define TESTS_MATRIX_MATRIX_H

#include <cstdint>
#include <vector>

#include "tests/matrix/cell.h"

// The cells: every command of a healthy day with every fault.
std::vector<sCell> usualCells(const sOutcome& healthy, uint64_t seed);
// The same for the commands to a receiver that is off.
std::vector<sCell> gpsCells(const sOutcome& healthy, uint64_t seed);
// Every command with an unsolicited line in every place beside its answer, and every answer of a
// day with each line. healthy: the outcome of that day.
std::vector<sCell> interjectionCells(eDay day, const sOutcome& healthy, uint64_t seed);
// The days with a PIN: the same, with every trouble. healthy: the outcome of that day.
std::vector<sCell> pinCells(eDay day, const sOutcome& healthy, uint64_t seed);

#endif
