#ifndef TESTS_SUPPORT_SHOWN_CASE_H
#define TESTS_SUPPORT_SHOWN_CASE_H

#include <ostream>

// What a failing test says of its parameter, in place of its bytes: SHOW_CASE(sSpeedCase, row.name)
// after the type, in the same namespace.
#define SHOW_CASE(tCase, ...)                              \
    void PrintTo(const tCase& row, std::ostream* output) { \
        *output << __VA_ARGS__;                            \
    }

#endif
