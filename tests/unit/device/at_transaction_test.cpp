#include "device/at_transaction.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "device/at_port.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

namespace {

using eLink = cFakePort::eLink;

// The pause before the carriage return of every command.
constexpr uint64_t COMMAND_US = 10000;
constexpr uint64_t POLL_US = 10000;

// Echo, command, CR; then CR LF line CR LF, CR LF OK CR LF: recorded framing of a LE910.
const std::string CCID_REPLY = "\r\n#CCID: 89010100000000000002\r\n\r\nOK\r\n";

std::string pattern(size_t size) {
    std::string text;
    while (text.size() < size)
        text += "0123456789abcdef\r\n";
    text.resize(size);
    return text;
}

}  // namespace

TEST(SendAtCommand, WholeReply_EndsWithThePollThatDeliversIt) {
    cFakePort port;
    port.answer(CCID_REPLY);
    const cLogMode mode(eLOG_PORT | eLOG_RESPONSE | eLOG_PORT_POLL);
    std::string response = "before";
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT#CCID", response, 5), ePORT_OK);
    EXPECT_EQ(response, "AT#CCID\r" + CCID_REPLY);
    EXPECT_EQ(port.commands(), std::vector<std::string>{"AT#CCID"});
    EXPECT_EQ(port.elapsedUs(), COMMAND_US + POLL_US);
    EXPECT_EQ(g_s_lastAtCmd, "AT#CCID");
    EXPECT_EQ(
        capturedLog(),
        (std::vector<std::string>{
            "DEBUG: writeToPort(): Sending AT command: 'AT#CCID'",
            "DEBUG: readAtCommandResponse(): Reading from FH " + std::to_string(port.descriptor()),
            "DEBUG: readAtCommandResponse(): Waiting up to 6 seconds for AT command response",
            "DEBUG: readAtCommandResponse(): Read " + std::to_string(response.size()) +
                " bytes from port",
            "DEBUG: readAtCommandResponse(): Got 'OK' while reading response",
            "DEBUG: readAtCommandResponse(): Returning string class : " + response,
        }));
}

TEST(SendAtCommand, ReplyInTwoPieces_WaitsForTheFinalCode) {
    const std::string whole = "AT#CCID\r" + CCID_REPLY;
    const size_t enough = whole.size() - 1;  // including the CR after OK
    for (size_t cut = 1; cut < whole.size(); ++cut) {
        cFakePort port;
        port.setEcho(false);
        port.answerInPieces({whole.substr(0, cut), whole.substr(cut)});
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT#CCID", response, 0), ePORT_OK) << cut;
        const bool secondNeeded = cut < enough;
        EXPECT_EQ(response, secondNeeded ? whole : whole.substr(0, cut)) << cut;
        EXPECT_EQ(port.elapsedUs(), COMMAND_US + (secondNeeded ? 2 : 1) * POLL_US) << cut;
    }
}

TEST(SendAtCommand, ReplyByteByByte_IsFoundWithItsLastByte) {
    const struct {
        std::string reply;
        ePortReturn result;
    } cases[] = {
        {"\r\n+CSQ: 17,0\r\n\r\nOK\r", ePORT_OK},
        {"\r\nERROR\r", ePORT_ERROR},
        {"\r\n+CME ERROR:", ePORT_CMX_ERROR},
        {"\r\n+CMS ERROR:", ePORT_CMX_ERROR},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.setEcho(false);
        std::vector<std::string> pieces;
        for (const char byte : row.reply)
            pieces.emplace_back(1, byte);
        port.answerInPieces(pieces);
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 5), row.result) << row.reply;
        EXPECT_EQ(response, row.reply);
        EXPECT_EQ(port.elapsedUs(), COMMAND_US + row.reply.size() * POLL_US);
    }
}

TEST(SendAtCommand, PieceWithoutFinalCode_IsLoggedAsSuch) {
    cFakePort port;
    port.setEcho(false);
    port.answerInPieces({"\r\n+CSQ: 1", "7,0\r\n\r\nOK\r\n"});
    const cLogMode mode(eLOG_PORT_POLL);
    std::string response;
    sendAtCommand(port.descriptor(), "AT+CSQ", response, 0);
    EXPECT_EQ(logCount("DEBUG: readAtCommandResponse(): Did not get OK/ERROR yet from modem"), 1u);
}

TEST(SendAtCommand, FinalCodes_AreSearchedInTheirOrder) {
    const struct {
        const char* reply;
        ePortReturn result;
    } cases[] = {
        {"\r\nOK\r\n", ePORT_OK},
        {"OK\n", ePORT_OK},
        {"OK\r", ePORT_OK},
        {"\r\nERROR\r\n", ePORT_ERROR},
        {"ERROR\n", ePORT_ERROR},
        {"\r\n+CME ERROR: 10\r\n", ePORT_CMX_ERROR},
        {"\r\n+CMS ERROR: 500\r\n", ePORT_CMX_ERROR},
        {"\r\n+CME ERROR: SIM not inserted\r\n", ePORT_CMX_ERROR},
        {"+CME ERROR:", ePORT_CMX_ERROR},
        // OK before ERROR before +CME, wherever they are
        {"\r\nERROR\r\n\r\nOK\r\n", ePORT_OK},
        {"\r\nOK\r\n\r\nERROR\r\n", ePORT_OK},
        {"\r\n+CME ERROR: 3\r\n\r\nOK\r\n", ePORT_OK},
        {"\r\n+CME ERROR: 3\r\n\r\nERROR\r\n", ePORT_ERROR},
        // plain text search
        {"\r\n+COPS: 0,0,\"BOOK\r\n", ePORT_OK},
        {"AT#PDPAUTH=1,1,user,notOK\r", ePORT_OK},
        {"\r\nTERROR\r\n", ePORT_ERROR},
        {"\r\nOKAY OK\r\n", ePORT_OK},
        // none
        {"\r\nOK", ePORT_NO_FINAL_RESULT},
        {"\r\nOK \r\n", ePORT_NO_FINAL_RESULT},
        {"\r\nOKAY\r\n", ePORT_NO_FINAL_RESULT},
        {"\r\nok\r\n", ePORT_NO_FINAL_RESULT},
        {"\r\nERROR", ePORT_NO_FINAL_RESULT},
        {"\r\nERRORS\r\n", ePORT_NO_FINAL_RESULT},
        {"\r\n+CME ERROR\x20:", ePORT_NO_FINAL_RESULT},
        {"\r\nCONNECT\r\n", ePORT_NO_FINAL_RESULT},
        {"\r\nNO CARRIER\r\n", ePORT_NO_FINAL_RESULT},
        {"\r\n> ", ePORT_NO_FINAL_RESULT},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.setEcho(false);
        port.answer(row.reply);
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), row.result) << row.reply;
        EXPECT_EQ(response, row.reply);
        const uint64_t wait = row.result == ePORT_NO_FINAL_RESULT ? 1000000 : POLL_US;
        EXPECT_EQ(port.elapsedUs(), COMMAND_US + wait) << row.reply;
    }
}

// Recorded: two results in one read.
TEST(SendAtCommand, UnsolicitedLineAfterOk_IsPartOfTheResponse) {
    cFakePort port;
    port.answer("\r\nOK\r\n\r\nSRING: 2,86\r\n");
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(response, "AT\r\r\nOK\r\n\r\nSRING: 2,86\r\n");
}

TEST(SendAtCommand, Silence_WaitsTimeoutPlusOneSecond) {
    for (const unsigned timeoutS : {0u, 1u, 2u, 5u, 10u, 15u, 59u, 60u, 61u, 90u, 180u}) {
        cFakePort port;
        port.setEcho(false);
        port.silence();
        const cLogMode mode;
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, timeoutS),
                  ePORT_NO_FINAL_RESULT);
        EXPECT_EQ(response, "");
        EXPECT_EQ(port.elapsedUs(), COMMAND_US + (timeoutS + 1) * 1000000ULL) << timeoutS;
        EXPECT_EQ(port.sleepsUs(), std::vector<unsigned>(1 + (timeoutS + 1) * 100, 10000u));
        EXPECT_TRUE(capturedLog().empty()) << "silence is no news without a debug mode";
    }
}

TEST(SendAtCommand, OverrideInEnvironment_PollsTwiceTenMicrosecondsApart) {
    for (const char* value : {"1", ""}) {
        cFakePort port;
        port.setEcho(false);
        port.silence();
        setenv("OVERRIDE_TEST_POLL_DELAY", value, 1);
        const cLogMode mode(eLOG_PORT_POLL);
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 90), ePORT_NO_FINAL_RESULT);
        unsetenv("OVERRIDE_TEST_POLL_DELAY");
        EXPECT_EQ(port.sleepsUs(), (std::vector<unsigned>{10000, 10, 10}));
        EXPECT_FALSE(logContains("Waiting up to"));
    }
}

TEST(SendAtCommand, TextWithoutFinalCodeThenSilence_IsKept) {
    cFakePort port;
    port.answer("\r\nCONNECT\r\n");
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+CGDATA=1", response, 2), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(response, "AT+CGDATA=1\r\r\nCONNECT\r\n");
    EXPECT_EQ(port.elapsedUs(), COMMAND_US + 3000000);
}

TEST(SendAtCommand, ReplyInTheLastPoll_StillCounts) {
    cFakePort port;
    port.setEcho(false);
    // The command is read at the first poll, so 990 ms later is the hundredth.
    port.answerLate(990, OK_REPLY);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(port.elapsedUs(), COMMAND_US + 1000000);
}

TEST(SendAtCommand, ReplyOnePollTooLate_IsNotInTheNextResponse) {
    cFakePort port;
    port.setEcho(false);
    port.answerLate(1000, "\r\nLATE\r\n");
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+ONE", response, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(response, "");
    port.answer(OK_REPLY);
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+TWO", response, 0), ePORT_OK);
    EXPECT_EQ(response, OK_REPLY);
}

TEST(SendAtCommand, BytesAfterTheFinalCode_BeginTheNextResponse) {
    cFakePort port;
    port.setEcho(false);
    port.answerInPieces({"\r\n+CME ERROR: ", "16\r\n"});
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+CPIN=0000", response, 0), ePORT_CMX_ERROR);
    EXPECT_EQ(response, "\r\n+CME ERROR: ");
    port.answer(OK_REPLY);
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(response, "16\r\n\r\nOK\r\n");
}

TEST(SendAtCommand, BytesThatWaitedBefore_AreNotDropped) {
    cFakePort port;
    port.say("\r\n+CREG: 1\r\n");
    port.answer(OK_REPLY);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(response, "\r\n+CREG: 1\r\nAT\r\r\nOK\r\n");
}

TEST(SendAtCommand, ClosedHandle_IsAnErrorAndRemembersTheCommand) {
    const cFakePort port;
    std::string response = "before";
    EXPECT_EQ(sendAtCommand(-1, "AT+GMM", response, 90), ePORT_ERROR);
    EXPECT_EQ(response, "");
    EXPECT_EQ(g_s_lastAtCmd, "AT+GMM");
    EXPECT_TRUE(port.sleepsUs().empty());
}

TEST(ReadAtCommandResponse, ClosedHandle_IsAnErrorAtOnce) {
    const cFakePort port;
    const cLogMode mode(eLOG_PORT);
    std::string response = "before";
    EXPECT_EQ(readAtCommandResponse(-1, response, 90), ePORT_ERROR);
    EXPECT_EQ(response, "");
    EXPECT_TRUE(port.sleepsUs().empty());
    EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                 "DEBUG: readAtCommandResponse(): Error: Cannot read from FH -1"});
}

TEST(SendAtCommand, HungUpPort_ReturnsTheWriteErrorWithoutReading) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.hangUp();
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 90), ePORT_ERROR);
    EXPECT_TRUE(port.sleepsUs().empty());
    EXPECT_NE(port.descriptor(), -1) << "closing is the main loop's decision";
}

TEST(ReadAtCommandResponse, HungUpPort_GoesThroughAllPolls) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.hangUp();
    const cLogMode mode(eLOG_PORT | eLOG_PORT_POLL);
    std::string response;
    EXPECT_EQ(readAtCommandResponse(port.descriptor(), response, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(response, "");
    EXPECT_EQ(port.elapsedUs(), 1000000u);
    EXPECT_EQ(logCount("DEBUG: readAtCommandResponse(): Did not get OK/ERROR yet from modem"), 100u)
        << "a failed read counts as a poll that found something";
    EXPECT_EQ(logCount("DEBUG: readFromPort(): No Response from device"), 100u);
    EXPECT_EQ(logCount("DEBUG: readAtCommandResponse(): Read -1 bytes from port"), 100u);
}

TEST(SendAtCommand, Terminal_CarriesAWholeTransaction) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.answer(CCID_REPLY);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT#CCID", response, 0), ePORT_OK);
    EXPECT_EQ(response, "AT#CCID\r" + CCID_REPLY);
    EXPECT_EQ(port.written(), "AT#CCID\r") << "no echo and no line end of the terminal's own";
}

TEST(SendAtCommand, LongReply_IsCollectedWhole) {
    for (const size_t size : {131071u, 131072u, 131073u, 300000u}) {
        cFakePort port;
        port.setEcho(false);
        const std::string reply = pattern(size) + OK_REPLY;
        port.answer(reply);
        std::string response;
        EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+COPN", response, 10), ePORT_OK);
        EXPECT_EQ(response.size(), reply.size());
        EXPECT_TRUE(response == reply);
    }
}

TEST(ReadAtCommandResponse, OneRead_TakesAtMost128Kilobytes) {
    cFakePort port;
    const cLogMode mode(eLOG_PORT);
    port.say(pattern(140000));
    std::string response;
    EXPECT_EQ(readAtCommandResponse(port.descriptor(), response, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(logCount("DEBUG: readAtCommandResponse(): Read 131072 bytes from port"), 1u);
    EXPECT_EQ(logCount("DEBUG: readAtCommandResponse(): Read 8928 bytes from port"), 1u);
    EXPECT_TRUE(response == pattern(140000));
}

TEST(SendAtCommand, FiveMegabytes_AreCutAtTheBoundAndTheFinalCodeIsFound) {
    cFakePort port;
    port.setEcho(false);
    const std::string flood = pattern(5 * 1024 * 1024);
    port.answer(flood + OK_REPLY);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+COPN", response, 10), ePORT_OK);
    EXPECT_EQ(response.size(), RESPONSE_MAX);
    EXPECT_TRUE(response == flood.substr(0, RESPONSE_MAX));
}

TEST(SendAtCommand, BabblingModem_IsBoundedAndTimesOut) {
    cFakePort port;
    port.setEcho(false);
    std::vector<std::string> pieces(100, pattern(100000));
    port.answerInPieces(pieces);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(response.size(), RESPONSE_MAX);
    EXPECT_EQ(port.elapsedUs(), COMMAND_US + 1000000);
}

TEST(SendAtCommand, NulAndHighBytes_AreKept) {
    cFakePort port;
    port.setEcho(false);
    const std::string reply = std::string("\0\xff\x80", 3) + OK_REPLY;
    port.answer(reply);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(response, reply);
}

TEST(SendAtCommand, TestResponseQueue_WritesOneTextAfterEachResponse) {
    cFakePort port;
    g_que_testAtResponses.push("FIRST");
    g_que_testAtResponses.push("SECOND");
    port.answer(ERROR_REPLY);
    std::string response;
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+ONE", response, 0), ePORT_ERROR)
        << "the queue does not change the result";
    EXPECT_EQ(g_que_testAtResponses.size(), 1u);
    port.silence().answer(OK_REPLY);
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT+TWO", response, 0), ePORT_OK);
    EXPECT_TRUE(g_que_testAtResponses.empty());
    port.silence().answer(OK_REPLY);
    EXPECT_EQ(sendAtCommand(port.descriptor(), "AT", response, 0), ePORT_OK);
    EXPECT_EQ(port.commands(),
              (std::vector<std::string>{"AT+ONE", "FIRST", "AT+TWO", "SECOND", "AT"}));
}

// A FIFO opened for reading and writing returns what is written to it.
TEST(SendAtCommand, Fifo_ReadsItsOwnCommandAndTheQueuedText) {
    const cTempFolder folder;
    const std::string path = folder / "fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const cFakePort clockOnly;
    int descriptor;
    ASSERT_EQ(openDevice(path, descriptor), 0);
    g_que_testAtResponses.push("+CSQ: 17,0\r\nOK");
    std::string response;
    EXPECT_EQ(sendAtCommand(descriptor, "AT", response, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(response, "AT\r");
    EXPECT_EQ(sendAtCommand(descriptor, "AT+CSQ", response, 0), ePORT_OK);
    EXPECT_EQ(response, "+CSQ: 17,0\r\nOK\rAT+CSQ\r");
    closeDevice(descriptor);
}
