#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

TEST(Le910simFraming, BareAt_AnswersEchoAndOk) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("AT"), "AT\r\r\nOK\r\n");
}

// The recorded framing: echo and CR, CR LF, line, CR LF, CR LF, OK, CR LF.
TEST(Le910simFraming, OneLine_IsBetweenEchoAndOk) {
    cModemDriver sim(R"({"sim": {"iccid": "89010100000000000002"}})");
    EXPECT_EQ(sim.at("AT#CCID"), "AT#CCID\r\r\n#CCID: 89010100000000000002\r\n\r\nOK\r\n");
}

TEST(Le910simFraming, CompoundCommand_GivesItsLinesInOrderAndOneOk) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("AT+CPIN?;#PCT"), "AT+CPIN?;#PCT\r\r\n+CPIN: READY\r\n#PCT: 3\r\n\r\nOK\r\n");
}

TEST(Le910simFraming, CompoundCommandThatFails_StopsThere) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT+CPIN?;+NOSUCH;#PCT"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.problems().size(), 1U);
}

TEST(Le910simFraming, EchoOff_AnswerAlone) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("ATE0"), "ATE0\r\r\nOK\r\n");
    EXPECT_EQ(sim.at("AT"), "\r\nOK\r\n");
    EXPECT_EQ(sim.at("ATE1"), "\r\nOK\r\n");
    EXPECT_EQ(sim.at("AT"), "AT\r\r\nOK\r\n");
}

TEST(Le910simFraming, LowerCase_IsTheSameCommand) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("at+cgatt?"), "\r\n+CGATT: 0\r\n\r\nOK\r\n");
}

TEST(Le910simFraming, EmptyLine_IsIgnored) {
    cModemDriver sim;
    EXPECT_EQ(sim.at(""), "");
    EXPECT_TRUE(sim.modem.commands().empty());
}

TEST(Le910simFraming, TwoCommandsInOneWrite_AreBothAnswered) {
    cModemDriver sim;
    sim.modem.receiveAt("AT\rAT+CFUN?\r", 0);
    EXPECT_EQ(sim.modem.takeAtOutput(), "AT\r\r\nOK\r\nAT+CFUN?\r\r\n+CFUN: 1\r\n\r\nOK\r\n");
}

TEST(Le910simFraming, UnknownCommand_AnswersErrorAndIsNoted) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("AT+CSQQ"), "AT+CSQQ\r\r\nERROR\r\n");
    ASSERT_EQ(sim.modem.problems().size(), 1U);
    EXPECT_EQ(sim.modem.problems()[0], "at 'AT+CSQQ': unknown command");
    EXPECT_EQ(sim.state().at("problems").size(), 1U);
}

TEST(Le910simFraming, MalformedCommands_AnswerErrorAndAreNoted) {
    const std::vector<std::string> lines = {"CSQ",
                                            "AT+",
                                            "AT+CMEE",
                                            "AT+CMEE=",
                                            "AT+CMEE=3",
                                            "AT+CMEE=1,2",
                                            "AT+CMEE=\"1\"",
                                            "AT+CSQ?",
                                            "AT+CSQ=1",
                                            "AT+CGATT=1;;",
                                            "AT+CPIN=\"12",
                                            "AT+CPIN=12",
                                            "AT+CGDCONT=1,IP",
                                            "AT+COPS=1,2,310410",
                                            "AT+CMGL=\"ALL\"",
                                            "ATY",
                                            "AT#SLED=5",
                                            "AT+CGACT=2,1",
                                            "AT$GPSNMUN=4",
                                            "AT\x01",
                                            "AT+CLCK=\"SC\",1,1234",
                                            "AT+CGDATA=\"PPP\",1",
                                            "AT+CGPADDR=17",
                                            "AT#TESTMODE=OM"};
    for (const std::string& line : lines) {
        cModemDriver sim;
        EXPECT_EQ(sim.reply(line), "\r\nERROR\r\n") << line;
        EXPECT_EQ(sim.modem.problems().size(), 1U) << line;
    }
}

TEST(Le910simFraming, OverlongLine_AnswersErrorAndIsNoted) {
    cModemDriver sim;
    sim.modem.receiveAt(std::string(10000, 'A') + "\r", 0);
    EXPECT_EQ(sim.modem.takeAtOutput(), "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.problems().size(), 1U);
    EXPECT_EQ(sim.at("AT"), "AT\r\r\nOK\r\n");
}

TEST(Le910simFraming, EveryByteValue_IsHandled) {
    cModemDriver sim;
    std::string bytes;
    for (int value = 0; value < 256; ++value)
        bytes += static_cast<char>(value);
    sim.modem.receiveAt(bytes + "\r", 0);
    sim.modem.receiveGps(bytes + "\r", 0);
    const json::error_handler_t replace = json::error_handler_t::replace;
    EXPECT_NE(sim.state().dump(-1, ' ', false, replace).find("problems"), std::string::npos);
    sim.modem.takeAtOutput();
    EXPECT_EQ(sim.at("AT"), "AT\r\r\nOK\r\n");
}

TEST(Le910simFraming, Cmee_ChoosesTheFormOfErrors) {
    cModemDriver sim(R"({"sim": {"present": false}})");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.reply("AT+CMEE=1"), "\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(sim.reply("AT+CMEE=2"), "\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CPIN?"), "\r\n+CME ERROR: SIM not inserted\r\n");
    EXPECT_EQ(sim.reply("AT+CMEE?"), "\r\n+CMEE: 2\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simFraming, EscapeBeforeACommand_IsSkipped) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("+++AT"), "+++AT\r\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

// 14 bytes at 9600 baud: 960 bytes a second.
TEST(Le910simFraming, Pace_LimitsTheBytesASecond) {
    cModemDriver sim(R"({"pace": "9600"})");
    sim.modem.receiveAt("AT\r", 0);
    EXPECT_EQ(sim.modem.takeAtOutput(), "");
    sim.wait(5);
    EXPECT_EQ(sim.modem.takeAtOutput(), "AT\r\r");
    sim.wait(2);
    EXPECT_EQ(sim.modem.takeAtOutput(), "\nO");
    sim.wait(100);
    EXPECT_EQ(sim.modem.takeAtOutput(), "K\r\n");
}

TEST(Le910simFraming, ReplyDelay_HoldsTheAnswerButNotTheEcho) {
    cModemDriver sim(R"({"timings": {"reply_ms": 50}})");
    EXPECT_EQ(sim.at("AT"), "AT\r");
    EXPECT_EQ(sim.readAt(40), "");
    EXPECT_EQ(sim.readAt(10), "\r\nOK\r\n");
}

TEST(Le910simFraming, CommandsWhileBusy_WaitTheirTurn) {
    cModemDriver sim;
    sim.modem.receiveAt("AT#ATDELAY=5\rAT\r", 0);
    sim.wait(499);
    EXPECT_EQ(sim.modem.takeAtOutput(), "");
    sim.wait(1);
    EXPECT_EQ(sim.modem.takeAtOutput(), "AT#ATDELAY=5\r\r\nOK\r\nAT\r\r\nOK\r\n");
}

TEST(Le910simFraming, Exchanges_KeepCommandReplyPortAndTime) {
    cModemDriver sim;
    sim.wait(100);
    sim.at("AT");
    sim.gps("AT+CMEE=9\r");
    const auto& exchanges = sim.modem.exchanges();
    ASSERT_EQ(exchanges.size(), 2U);
    EXPECT_EQ(exchanges[0].timeMs, 110U);
    EXPECT_EQ(exchanges[0].port, "at");
    EXPECT_EQ(exchanges[0].command, "AT");
    EXPECT_EQ(exchanges[0].reply, "\r\nOK\r\n");
    EXPECT_EQ(exchanges[1].port, "gps");
    EXPECT_EQ(exchanges[1].reply, "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.commands(), std::vector<std::string>{"AT"});
}

TEST(Le910simFraming, OutputNobodyReads_IsBounded) {
    cModemDriver sim;
    for (int i = 0; i < 2000; ++i)
        sim.modem.receiveAt("AT+COPN\r", 0);
    const size_t size = sim.modem.takeAtOutput().size();
    EXPECT_LE(size, 256U * 1024U);
    EXPECT_GT(size, 200U * 1024U);
}

}  // namespace le910sim
