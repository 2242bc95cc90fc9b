#ifndef TESTS_MATRIX_DAY_DIFFERENCE_H
#define TESTS_MATRIX_DAY_DIFFERENCE_H

#include <cstdint>
#include <string>
#include <vector>

#include "tests/matrix/faulty_modem.h"

struct sDifference {
    std::vector<std::string> failures;
    uint64_t excessMs = 0;  // longest delay of a command compared with that day
};

// How a day with unsolicited lines differs from the one without: other commands, or longer pauses
// between them. The delay of an answer itself does not count.
sDifference differenceOf(const std::vector<sSent>& healthy, const std::vector<sSent>& sent);

std::string firstDifference(const std::string& expected, const std::string& actual);

#endif
