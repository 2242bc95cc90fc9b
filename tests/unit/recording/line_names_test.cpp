#include "recording/line_names.h"

#include <gtest/gtest.h>

#include <string>

#include "atcmd/catalogue.h"

namespace {

const char* const DAEMON_COMMANDS[] = {
#define AT_COMMAND_TEXT(name, number, text) text,
    AT_COMMANDS(AT_COMMAND_TEXT)
#undef AT_COMMAND_TEXT
    // The other SIM card's slot.
    "AT#GPIO=2,1,1,1;#ATDELAY=5;#SIMDET=0;#ATDELAY=50;#SIMDET=1",
};

}  // namespace

// Of a command that is not known all arguments count as secrets, and what a modem answers later is
// hidden if it looks like a part of them: a replay would not get its answers.
TEST(LineNames, EachCommandOfTheDaemon_IsKnown) {
    for (const char* const text : DAEMON_COMMANDS) {
        const std::string command = text != nullptr ? text : "";
        for (size_t at = command.find_first_of("+#"); at != std::string::npos;
             at = command.find_first_of("+#", at + 1))
            EXPECT_NE(findName(&command[at], command.size() - at).row, nullptr)
                << command.substr(at) << " of " << command;
    }
}
