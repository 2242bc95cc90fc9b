#include "atcmd/radio_config.h"

#include <gtest/gtest.h>

#include <climits>

#include "device/link_state.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

std::string clockLog(int count, const std::string& text) {
    return "parseCCLK(): Error, did not get match count " + std::to_string(count) +
           " or valid time from CCLK output '" + text + "'";
}

}  // namespace

TEST(ParseWS46, Lines_NumbersOnly) {
    const struct {
        const char* line;
        int value;
    } cases[] = {
        {"+WS46: 31", 31}, {"+WS46: 3 1", 31}, {"+WS46:28", 28},
        {"+WS46: -1", 7},  {"+WS46: x", 7},    {"+WS46:", 7},
        {"nothing", 7},    {"+WS46: 31,1", 7}, {"+WS46: 99999999999", INT_MAX},
    };
    for (const auto& row : cases) {
        int value = 7;
        parseWS46(modemReply({row.line}), value);
        EXPECT_EQ(value, row.value) << row.line;
    }
    const cLogMode mode(eLOG_AT_DETAIL);
    int value;
    parseWS46(modemReply({"+WS46: 31"}), value);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: parseWS46(): Found value 31"});
    tortureReply(modemReply({"+WS46: 31"}), [](const std::string& response) {
        int number = 0;
        parseWS46(response, number);
        EXPECT_GE(number, 0);
    });
}

TEST(GetWS46, Failures_GiveZeroAndTheirLog) {
    const struct {
        const char* reply;
        const char* log;
    } cases[] = {
        {"", "getWS46(): Command 'AT+WS46?' TIMEOUT"},
        {ERROR_REPLY, "getWS46(): Command 'AT+WS46?' reported ERROR"},
        {"\r\n+CME ERROR: 19\r\n", "getWS46(): Command 'AT+WS46?' reported CME ERROR"},
        {"\r\n+CME ERROR: 4\r\n", "getWS46(): Command 'AT+WS46?' reported CME ERROR"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        const cLogMode mode;
        int value = 7;
        EXPECT_NE(getWS46(port.descriptor(), value), ePORT_OK);
        EXPECT_EQ(value, 0);
        EXPECT_EQ(logCount(row.log), 1u) << row.log;
    }
    cFakePort port;
    port.answer(modemReply({"+WS46: 31"}));
    int value = 7;
    EXPECT_EQ(getWS46(port.descriptor(), value), ePORT_OK);
    EXPECT_EQ(value, 31);
}

TEST(SetCOPS, InvalidModes_GiveWrongModeAndSendNothing) {
    sConfigFileOpts config;
    config.operatorName = "310410";
    for (const char* mode : {"3", "2", "5", "", "01", "x"}) {
        cFakePort port;
        config.operatorMode = mode;
        EXPECT_EQ(setCOPS(port.descriptor(), config, eNET_OPERATOR_FROM_CONFIG),
                  static_cast<ePortReturn>(552))
            << mode;
        EXPECT_TRUE(port.sleepsUs().empty()) << mode;
    }
    config.operatorMode = "1";
    for (const int mode : {1, 3, 4, -2, 7}) {
        cFakePort port;
        EXPECT_EQ(setCOPS(port.descriptor(), config, static_cast<eNetOperatorMode>(mode)),
                  static_cast<ePortReturn>(552))
            << mode;
        EXPECT_TRUE(port.sleepsUs().empty());
    }
}

TEST(SetBND, HighestBit_IsWrittenAsTheSignedNumber) {
    cFakePort port;
    port.answer(OK_REPLY);
    sConfigFileOpts config;
    config.band3gText = "0";
    config.band4gBits = 1ULL << 63;
    setBND(port.descriptor(), config);
    EXPECT_EQ(port.commands(), std::vector<std::string>{"AT#BND=0,0,-9223372036854775808"});
}

TEST(SetATSTAT, NoAction_SendsNothing) {
    cFakePort port;
    const cLogMode mode(eLOG_AT_DETAIL);
    EXPECT_EQ(setATSTAT(port.descriptor(), eSTAT_LED_NO_ACTION, 1, 1), ePORT_OK);
    EXPECT_TRUE(port.sleepsUs().empty());
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: setATSTAT() eSTAT_LED_NO_ACTION"});
}

TEST(SetATSTAT, Durations_StayWithinTheModemsRange) {
    const struct {
        int on;
        int off;
        const char* command;
    } cases[] = {
        {1, 100, "AT#SLED=3,1,100"},
        {0, 101, "AT#SLED=3,1,100"},
        {255, 0, "AT#SLED=3,100,1"},
        {10, 10, "AT#SLED=3,10,10"},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(OK_REPLY);
        setATSTAT(port.descriptor(), eSTAT_LED_BLINK, static_cast<unsigned char>(row.on),
                  static_cast<unsigned char>(row.off));
        EXPECT_EQ(port.commands(), std::vector<std::string>{row.command});
    }
}

TEST(GetCCLK, HealthyModem_SendsFourCommandsAndGivesTheDate) {
    cFakePort port;
    port.answer(OK_REPLY).answer(OK_REPLY).answer(OK_REPLY).answer(
        modemReply({"#CCLK: \"20/06/15,20:32:05-24,1\""}));  // recorded
    const cLogMode mode;
    EXPECT_EQ(getCCLK(port.descriptor()), "6/15/20 20:32:5");
    EXPECT_EQ(port.commands(),
              (std::vector<std::string>{"AT+CSDF=1", "AT#CCLKMODE=0", "AT#NITZ=3,0", "AT#CCLK?"}));
    EXPECT_TRUE(capturedLog().empty());
}

TEST(GetCCLK, RefusedSetUp_GoesOn) {
    cFakePort port;
    port.answer(ERROR_REPLY)
        .answer("\r\n+CME ERROR: 4\r\n")
        .silence()
        .answer(modemReply({"#CCLK: \"24/03/05,07:08:09+00,0\""}));
    const cLogMode mode(eLOG_AT_DETAIL);
    EXPECT_EQ(getCCLK(port.descriptor()), "3/5/24 7:8:9");
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "DEBUG: getCCLK(): Command 'AT+CSDF=1' ERROR/TIMEOUT",
                                 "DEBUG: getCCLK(): Command 'AT#CCLKMODE=0' ERROR/TIMEOUT",
                                 "DEBUG: getCCLK(): Command 'AT#NITZ=3,0' ERROR/TIMEOUT",
                                 "DEBUG: parseCCLK(): Returning date string '3/5/24 7:8:9'",
                             }));
}

TEST(GetCCLK, SilentModem_TakesFourQueriesOfASecondAndOneForLateAnswers) {
    cFakePort port;
    port.silence().silence().silence().silence();
    const cLogMode mode;
    EXPECT_EQ(getCCLK(port.descriptor()), "");
    EXPECT_EQ(port.elapsedMs(), 4 * 1010u + LATE_ANSWER_MS);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"getCCLK(): Command 'AT#CCLK?' TIMEOUT"});
}

TEST(GetCCLK, RefusedQuery_IsLogged) {
    for (const char* reply : {ERROR_REPLY, "\r\n+CME ERROR: 4\r\n"}) {
        cFakePort port;
        port.answer(OK_REPLY).answer(OK_REPLY).answer(OK_REPLY).answer(reply);
        const cLogMode mode;
        EXPECT_EQ(getCCLK(port.descriptor()), "");
        EXPECT_EQ(capturedLog(),
                  std::vector<std::string>{"getCCLK(): Command 'AT#CCLK?' reported ERROR"});
    }
}

TEST(ParseCCLK, Lines_GivePlainNumbers) {
    const struct {
        const char* line;
        const char* date;
    } cases[] = {
        {"#CCLK: \"24/03/05,07:08:09+00,0\"", "3/5/24 7:8:9"},
        {"#CCLK: \"20/06/15,20:32:05-24,1\"", "6/15/20 20:32:5"},  // recorded
        {"#CCLK: \"80/01/06,00:01:02+00\"", "1/6/80 0:1:2"},       // before network time
        {"#CCLK: 24/3/5,7:8:9", "3/5/24 7:8:9"},
        {"#CCLK: \"24/ 3/05, 7:08:09\"", "3/5/24 7:8:9"},
        {"#CCLK: \"-1/03/05,07:08:09\"", "3/5/-1 7:8:9"},
        {"#CCLK: \"99999999999/03/05,07:08:09\"", "3/5/2147483647 7:8:9"},
        {"#CCLK: \"24/03/05,07:08:09;reboot\"", "3/5/24 7:8:9"},
    };
    for (const auto& row : cases) {
        const cLogMode mode;
        EXPECT_EQ(parseCCLK("AT#CCLK?\r" + modemReply({row.line})), row.date) << row.line;
        EXPECT_TRUE(capturedLog().empty());
    }
}

TEST(ParseCCLK, UnusableLines_GiveNothingAndLogHowFarTheyWereRead) {
    const struct {
        const char* line;
        int count;
        const char* text;
    } cases[] = {
        {"#CCLK: \"00/03/05,07:08:09+00,0\"", 6, " 00/03/05,07:08:09+00,0"},
        {"#CCLK: \"24/03/05,07:08\"", 5, " 24/03/05,07:08"},
        {"#CCLK: \"24/03/05 07:08:09\"", 3, " 24/03/05 07:08:09"},
        {"#CCLK: \"24 /03/05,07:08:09\"", 1, " 24 /03/05,07:08:09"},
        {"#CCLK: \"x\"", 0, " x"},
        {"#CCLK: \"\"", -1, ""},
        {"nothing", -1, ""},
    };
    for (const auto& row : cases) {
        const cLogMode mode;
        EXPECT_EQ(parseCCLK(modemReply({row.line})), "") << row.line;
        EXPECT_EQ(capturedLog(), std::vector<std::string>{clockLog(row.count, row.text)});
    }
}

// The result is passed to the command that sets the host's clock.
TEST(ParseCCLK, DamagedReplies_GiveNumbersAndSeparatorsOnly) {
    tortureReply(modemReply({"#CCLK: \"20/06/15,20:32:05-24,1\""}),
                 [](const std::string& response) {
                     const std::string date = parseCCLK(response);
                     EXPECT_LE(date.size(), 80u);
                     EXPECT_EQ(date.find_first_not_of("0123456789-/: "), std::string::npos) << date;
                 });
    clearCapturedLog();
}
