#include "atcmd/command.h"

#include <gtest/gtest.h>

#include "atcmd/basic_commands.h"
#include "device/at_transaction.h"
#include "include/device_records.h"
#include "include/sleep.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

namespace {

ePortReturn number(int value) {
    return static_cast<ePortReturn>(value);
}

struct sErrorCase {
    ePortReturn result;
    const char* response;
    ePortReturn parsed;
    const char* text;
};

const sErrorCase CASES[] = {
    // recorded on a modem without SIM
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 10\r\n", number(10), "SIM NOT INSERTED"},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: SIM not inserted\r\n", ePORT_CMX_ERROR, ""},
    // made up
    {ePORT_CMX_ERROR, "\r\n+CME ERROR:16\r\n", number(16), "INCORRECT PASSWORD"},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR:  1 6 \r\n", number(16), "INCORRECT PASSWORD"},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 0\r\n", number(0), "PHONE FAILURE"},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 010\r\n", number(10), "SIM NOT INSERTED"},
    {ePORT_CMX_ERROR, "\r\n+CMS ERROR: 500\r\n", number(500), "UNKNOWN ERROR"},
    {ePORT_CMX_ERROR, "\r\n+CMS ERROR: 302\r\n", number(302), "OPERATION NOT ALLOWED"},
    {ePORT_CMX_ERROR, "\r\n+CMS ERROR: 3\r\n", number(3), "OPERATION NOT ALLOWED"},
    {ePORT_CMX_ERROR, "\r\n+CMS ERROR: 999\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 19\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: SIM busy\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: -3\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: +3\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 4294967306\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR:\r\n", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR 3\r\n", ePORT_CMX_ERROR, ""},
    // an unusable +CME line does not hide a +CMS line
    {ePORT_CMX_ERROR, "+CME ERROR: x\r\n+CMS ERROR: 500\r\n", number(500), "UNKNOWN ERROR"},
    {ePORT_CMX_ERROR, "+CMS ERROR: 500\r\n+CME ERROR: 10\r\n", number(10), "SIM NOT INSERTED"},
    // the rest of the number may still arrive
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 1", ePORT_CMX_ERROR, ""},
    {ePORT_CMX_ERROR, "\r\n+CME ERROR: 1\r", ePORT_CMX_ERROR, ""},
    // other results do not change
    {ePORT_ERROR, "\r\n+CME ERROR: 3\r\n", ePORT_ERROR, ""},
    {ePORT_OK, "\r\n+CME ERROR: 3\r\n", ePORT_OK, ""},
    {ePORT_NO_FINAL_RESULT, "\r\n+CME ERROR: 3\r\n", ePORT_NO_FINAL_RESULT, ""},
    {ePORT_CONNECT, "\r\n+CME ERROR: 3\r\n", ePORT_CONNECT, ""},
};

}  // namespace

TEST(ParseCMXerror, Responses_GiveNumberAndText) {
    const size_t known = CMEE_Map.size();
    for (const sErrorCase& row : CASES) {
        const cLogMode mode;
        g_s_last_cmx_error = "before";
        g_e_last_cmx_error = number(77);
        ePortReturn result = row.result;
        parseCMXerror(result, row.response);
        EXPECT_EQ(result, row.parsed) << row.response;
        EXPECT_EQ(g_e_last_cmx_error, row.parsed) << row.response;
        EXPECT_EQ(g_s_last_cmx_error, row.text) << row.response;
        EXPECT_EQ(capturedLog().size(), *row.text != '\0' ? 1u : 0u) << row.response;
    }
    EXPECT_EQ(CMEE_Map.size(), known) << "numbers of the modem add no rows";
}

TEST(ParseCMXerror, KnownNumber_IsLoggedWithItsClass) {
    const cLogMode mode;
    ePortReturn result = ePORT_CMX_ERROR;
    parseCMXerror(result, "\r\n+CME ERROR: 10\r\n");
    result = ePORT_CMX_ERROR;
    parseCMXerror(result, "\r\n+CMS ERROR: 10\r\n");
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "Modem reported CME Error 'SIM NOT INSERTED' (10)",
                                 "Modem reported CMS Error 'SIM NOT INSERTED' (10)",
                             }));
}

TEST(ParseCMXerror, DamagedReplies_GiveKnownNumbersOnly) {
    tortureReply("\r\n+CME ERROR: 10\r\n", [](const std::string& response) {
        ePortReturn result = ePORT_CMX_ERROR;
        parseCMXerror(result, response);
        EXPECT_TRUE(result == ePORT_CMX_ERROR || CMEE_Map.count(result) != 0);
        expectBounded(g_s_last_cmx_error);
    });
}

TEST(QueryModem, ErrorInPieces_IsNotConvertedToHalfItsNumber) {
    cFakePort port;
    port.setEcho(false);
    port.answerInPieces({"\r\n+CME ERROR: 1", "6\r\n"});
    EXPECT_EQ(queryModem(port.descriptor(), "AT+CPIN=0000", eParseCmx::ON_FAILURE),
              ePORT_CMX_ERROR);
}

TEST(LogFailedCommand, EachResult_HasItsText) {
    const struct {
        ePortReturn result;
        const char* text;
    } cases[] = {
        {ePORT_NO_FINAL_RESULT, "f(): Command 'AT' TIMEOUT"},
        {ePORT_ERROR, "f(): Command 'AT' reported ERROR"},
        {ePORT_CMX_ERROR, "f(): Command 'AT' reported CME_ERROR"},
        {number(10), "f(): Command 'AT' reported CME_ERROR"},
    };
    for (const auto& row : cases) {
        const cLogMode mode;
        logFailedCommand("f", "AT", row.result);
        EXPECT_EQ(capturedLog(), std::vector<std::string>{row.text});
    }
    const cLogMode mode;
    logFailedCommand("f", "AT", ePORT_OK);
    EXPECT_TRUE(capturedLog().empty());
}

TEST(ResponseField, FirstOccurrence_WithoutWhiteSpace) {
    EXPECT_EQ(responseField("AT+CGATT?\r\r\n+CGATT: 1\r\n\r\nOK\r\n", "+CGATT:"), "1");
    EXPECT_EQ(responseField("+CGATT: 0\r\n+CGATT: 1\r\n", "+CGATT:"), "0");
    EXPECT_EQ(responseField("+CGATT: 1, \t2", "+CGATT:"), "1,2");
    EXPECT_EQ(responseField("ERROR", "+CGATT:"), "");
}

TEST(ResponseFields, EmptyField_KeepsItsPlace) {
    const tokenstr fields = responseFields("\r\n+CGDCONT: 1 ,\"IP\",,a,\r\n", "+CGDCONT:");
    ASSERT_EQ(fields.size(), 5u);
    EXPECT_EQ(fields[0], "1");
    EXPECT_EQ(fields[2], "");
    EXPECT_EQ(fields[3], "a");
    EXPECT_EQ(fields[4], "");
    EXPECT_EQ(responseFields("\r\nOK\r\n", "+CGDCONT:").size(), 0u);
    EXPECT_EQ(splitFields(" 1 , 2").size(), 2u);
    EXPECT_EQ(splitFields(" 1 , 2")[0], " 1 ");
}

TEST(ResponseLines, Response_TrimmedWithoutEmptyLines) {
    EXPECT_EQ(responseLines("ATI3\r\r\n Telit \r\n\r\nOK\r\n"),
              (std::vector<std::string>{"ATI3", "Telit", "OK"}));
    EXPECT_TRUE(responseLines("\r\n \r\n").empty());
    EXPECT_EQ(responseLinesAfter("\r\n+CGACT: 1,1\r\nx+CGACT: 2,1\r\n +CGACT:3,0\r\n", "+CGACT:"),
              (std::vector<std::string>{" 1,1", "3,0"}));
}

TEST(BeginsWithDigit, FirstCharacter_Decides) {
    EXPECT_TRUE(beginsWithDigit("1x"));
    EXPECT_FALSE(beginsWithDigit("x1"));
    EXPECT_FALSE(beginsWithDigit("-1"));
    EXPECT_FALSE(beginsWithDigit(""));
}

TEST(ModemText, LongText_IsCut) {
    EXPECT_EQ(modemText(std::string(1000, 'x')).size(), MODEM_TEXT_MAX);
    EXPECT_EQ(unquotedText(" \"" + std::string(1000, 'x')).size(), MODEM_TEXT_MAX);
    EXPECT_EQ(unquotedText(" \"a\"b \""), "ab");
    EXPECT_EQ(doubleQuoted("a"), "\"a\"");
}

TEST(CheckUnsolicitedMsg, NothingPending_LogsTheEntryOnly) {
    cFakePort port;
    const cLogMode mode(eLOG_AT_FUNCTION | eLOG_AT_DETAIL);
    checkUnsolicitedMsg(port.descriptor());
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: Entering checkUnsolicitedMsg()"});
    EXPECT_EQ(port.written(), "");
}

TEST(CheckUnsolicitedMsg, Lines_AreLoggedOneByOne) {
    cFakePort port;
    port.say("\r\n+CREG: 1\r\n\r\n");
    const cLogMode mode(eLOG_AT_DETAIL);
    checkUnsolicitedMsg(port.descriptor());
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: Unsolicited message: '+CREG: 1'"});
    port.say("RING\r\n \r\n SRING: 2,86\r\n");
    checkUnsolicitedMsg(port.descriptor());
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "DEBUG: Unsolicited message: '+CREG: 1'",
                                 "DEBUG: Unsolicited message: 'RING'",
                                 "DEBUG: Unsolicited message: 'SRING: 2,86'",
                             }));
}

TEST(CheckUnsolicitedMsg, ClosedPort_DoesNothing) {
    const cLogMode mode(eLOG_AT_DETAIL);
    checkUnsolicitedMsg(-1);
    EXPECT_TRUE(capturedLog().empty());
}

TEST(GetUnsolicitedMsg, MoreThan1024Bytes_LeavesTheRest) {
    cFakePort port;
    port.say(std::string(1500, 'x'));
    std::string text = "before";
    EXPECT_EQ(getUnsolicitedMsg(port.descriptor(), text), 1024);
    EXPECT_EQ(text, std::string(1024, 'x'));
    EXPECT_EQ(getUnsolicitedMsg(port.descriptor(), text), 476);
    EXPECT_EQ(getUnsolicitedMsg(port.descriptor(), text), 0);
    EXPECT_EQ(text, "");
}
