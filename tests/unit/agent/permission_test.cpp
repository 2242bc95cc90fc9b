#include "agent/permission.h"

#include <gtest/gtest.h>

namespace {

sCommand at(const std::string& text) {
    sCommand command;
    command.name = COMMAND_AT;
    command.slot = 1;
    command.at = text;
    return command;
}

sCommand sms(const std::string& number) {
    sCommand command;
    command.name = COMMAND_SMS;
    command.to = number;
    return command;
}

}  // namespace

TEST(Permission, NothingIsListed_NothingIsAllowed) {
    const sAgentConfig config;
    for (const char* name : {COMMAND_DATA, COMMAND_RELOAD, COMMAND_SMS, COMMAND_AT, COMMAND_DOCTOR,
                             COMMAND_HISTORY, COMMAND_REPORT, COMMAND_CONFIG}) {
        sCommand command;
        command.name = name;
        EXPECT_NE(whyNotAllowed(config, command), "") << name;
    }
}

TEST(Permission, AtCommand_OnlyAsListed) {
    const sAgentConfig config = parseAgentConfig("COMMANDS=at\nAT_COMMANDS=AT+CSQ at#moni*\n");
    for (const char* allowed : {"AT+CSQ", "at+csq", "AT#MONI", "AT#MONI=7"})
        EXPECT_EQ(whyNotAllowed(config, at(allowed)), "") << allowed;
    for (const char* refused : {"AT", "AT+CSQ?", "AT+CSQ;+CFUN=0", "AT#MONI;#REBOOT",
                                "AT#MONI\r\nAT+CFUN=0", "AT+CFUN=0", "", "AT#MON", "AT#MONI=7\x1a"})
        EXPECT_NE(whyNotAllowed(config, at(refused)), "") << refused;
}

// After a basic command another may follow without a semicolon (V.250, 5.4).
TEST(Permission, BasicCommandWithAStar_AllowsNoOtherAfterIt) {
    const sAgentConfig config = parseAgentConfig("COMMANDS=at\nAT_COMMANDS=ATI* AT&V* ATS* ATZ\n");
    for (const char* allowed : {"ATI", "ATI3", "AT&V", "AT&V1", "ATS0?", "ATS0=1", "atz"})
        EXPECT_EQ(whyNotAllowed(config, at(allowed)), "") << allowed;
    for (const char* refused : {"ATI+CFUN=0", "ATI3+CFUN=0", "ATIZ", "ATI&F", "ATID*99#", "AT&VZ",
                                "ATS0=1Z", "ATS0?+CFUN=0", "ATZ0", "ATI #REBOOT", "ATI3 +CFUN=0"})
        EXPECT_NE(whyNotAllowed(config, at(refused)), "") << refused;
}

TEST(Permission, Sms_OnlyToListedNumbersIfThereAreAny) {
    const sAgentConfig any = parseAgentConfig("COMMANDS=sms\n");
    EXPECT_EQ(whyNotAllowed(any, sms("+4917012345")), "");
    const sAgentConfig some = parseAgentConfig("COMMANDS=sms\nSMS_NUMBERS=+12025550123 +49*\n");
    EXPECT_EQ(whyNotAllowed(some, sms("+12025550123")), "");
    EXPECT_EQ(whyNotAllowed(some, sms("+4917012345")), "");
    EXPECT_NE(whyNotAllowed(some, sms("+120255501234")), "");
}
