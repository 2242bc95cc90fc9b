#ifndef TESTS_UNIT_ATCMD_EVERY_COMMAND_H
#define TESTS_UNIT_ATCMD_EVERY_COMMAND_H

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <ostream>
#include <set>
#include <string>

#include "include/result_codes.h"

// The tests of command_every_query_test.cpp, for rows that are beside the tests of their subject.

// Which results a function passes to parseCMXerror, and so whether a +CME or +CMS error becomes its
// number.
enum class eErrors {
    AS_IS,         // none: -1, whatever the number
    CONVERTED,     // every failure
    CMX_ONLY,      // +CME and +CMS errors alone
    REFUSAL,       // those and ERROR
    EVERY,         // every result, OK among them
    SUCCESS,       // none: a refusal is an answer too
    ALWAYS_ERROR,  // none: -2 for everything but OK
};

struct sCommand {
    const char* function;
    std::function<ePortReturn(int)> call;
    const char* command;
    unsigned timeoutS;
    eErrors errors;
};

inline void PrintTo(const sCommand& command, std::ostream* out) {
    *out << command.function;
}

template <typename tRecord>
std::function<ePortReturn(int)> on(ePortReturn (*function)(int, tRecord&),
                                   const tRecord& initial = {}) {
    return [=](int fd) {
        tRecord record = initial;
        return function(fd, record);
    };
}

class EveryCommand : public testing::TestWithParam<sCommand> {};

// The commands of all rows, for the test that none of the catalogue is without one.
inline std::set<std::string>& commandsWithRow() {
    static std::set<std::string> commands;
    return commands;
}

template <size_t count>
auto everyRow(const sCommand (&rows)[count]) {
    for (const sCommand& row : rows)
        commandsWithRow().insert(row.command);
    return testing::ValuesIn(rows);
}

inline std::string functionOf(const testing::TestParamInfo<sCommand>& command) {
    return command.param.function;
}

#endif
