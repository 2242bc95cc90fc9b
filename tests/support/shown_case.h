#ifndef TESTS_SUPPORT_SHOWN_CASE_H
#define TESTS_SUPPORT_SHOWN_CASE_H

#include <ostream>

// Shows a parameter of a failing test as text instead of its bytes: put SHOW_CASE(sSpeedCase,
// row.name) after the type, in the same namespace.
#define SHOW_CASE(tCase, ...)                              \
    void PrintTo(const tCase& row, std::ostream* output) { \
        *output << __VA_ARGS__;                            \
    }

#endif
