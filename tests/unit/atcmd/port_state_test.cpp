#include "atcmd/port_state.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "device/at_port.h"
#include "device/at_transaction.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

TEST(GetPortState, ClosedPortThatOpens_IsGoodWithoutATest) {
    cFakePort port(cFakePort::eLink::TERMINAL);
    EXPECT_EQ(getPortState(port.path(), port.descriptor()), ePORT_STATE_GOOD);
    EXPECT_NE(port.descriptor(), -1);
    EXPECT_TRUE(port.sleepsUs().empty()) << "no AT in the pass that opens the port";
}

TEST(GetPortState, Fifo_IsGood) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    int descriptor = -1;
    EXPECT_EQ(getPortState(folder / "fifo", descriptor), ePORT_STATE_GOOD);
    closeDevice(descriptor);
}

TEST(GetPortState, MissingNode_IsMissing) {
    const cTempFolder folder;
    int descriptor = -1;
    EXPECT_EQ(getPortState(folder / "ttyUSB2", descriptor), ePORT_STATE_MISSING);
    EXPECT_EQ(descriptor, -1);
}

TEST(GetPortState, OtherFailures_AreFailed) {
    const cTempFolder folder;
    writeFile(folder / "file", "");
    for (const std::string& path :
         {folder / "file", folder.path(), folder / "file/x", std::string("/dev/null")}) {
        int descriptor = -1;
        EXPECT_EQ(getPortState(path, descriptor), ePORT_STATE_FAILED) << path;
        EXPECT_EQ(descriptor, -1) << path;
    }
}

TEST(GetPortState, OpenPort_IsTestedWithAt) {
    cFakePort port;
    port.answer(OK_REPLY);
    EXPECT_EQ(getPortState("/dev/none", port.descriptor()), ePORT_STATE_GOOD);
    EXPECT_EQ(port.commands(), std::vector<std::string>{"AT"});
}

TEST(TestPortState, TraceCategory_NamesTheCommandFunction) {
    cFakePort port;
    port.answer(OK_REPLY);
    const cLogMode mode(eLOG_AT_FUNCTION);
    testPortState(port.descriptor());
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: Entering sendAT()"});
}

TEST(GetPortState, OpenPortThatIsSilent_IsFailedAndStaysOpen) {
    cFakePort port;
    port.silence();
    EXPECT_EQ(getPortState("/dev/none", port.descriptor()), ePORT_STATE_FAILED);
    EXPECT_NE(port.descriptor(), -1);
    EXPECT_EQ(port.elapsedMs(), 1010u);
}

TEST(TestPortState, Answers_OkAndErrorAreGood) {
    const struct {
        const char* reply;
        int state;
    } cases[] = {
        {OK_REPLY, ePORT_STATE_GOOD},
        {ERROR_REPLY, ePORT_STATE_GOOD},
        {"\r\n+CME ERROR: 10\r\n", ePORT_STATE_FAILED},
        {"\r\n+CREG: 1\r\n", ePORT_STATE_FAILED},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        EXPECT_EQ(testPortState(port.descriptor()), row.state) << row.reply;
    }
}

// Otherwise, after one late answer, every answer would be read for the next command.
TEST(TestPortState, AnswerToAnotherCommand_IsDroppedAndThePortTestedAgain) {
    cFakePort port;
    port.setEcho(false);
    port.answerInPieces({"AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n", "AT\r\r\nOK\r\n"});
    port.answer("AT\r\r\nOK\r\n");
    EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_GOOD);
    EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT", "AT"}));
    EXPECT_LE(port.elapsedMs(), 100u);
    std::string rest;
    EXPECT_EQ(readAtCommandResponse(port.descriptor(), rest, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(rest, "");
}

TEST(TestPortState, OwnAnswerThatFollowsLate_IsNotLeftForTheNextCommand) {
    cFakePort port;
    port.setEcho(false);
    port.say("AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
    port.answerLate(500, "AT\r\r\nOK\r\n").answer("AT\r\r\nOK\r\n");
    EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_GOOD);
    std::string rest;
    EXPECT_EQ(readAtCommandResponse(port.descriptor(), rest, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(rest, "");
}

TEST(TestPortState, PortThatIsSilentAfterAnotherAnswer_IsFailed) {
    cFakePort port;
    port.setEcho(false);
    port.answer("AT+CSQ\r\r\n+CSQ: 17,99\r\n\r\nOK\r\n");
    port.silence();
    EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_FAILED);
    EXPECT_LE(port.elapsedMs(), 2100u);
}

TEST(TestPortState, UnsolicitedLinesBesideTheAnswer_CostNothing) {
    const char* const lines[] = {"RING", "+CREG: 1", "+CGEV: NW DETACH", "#NITZ: 20/06/15,20:32:05",
                                 "+CMTI: \"SM\",7"};
    for (const std::string line : lines) {
        const std::string report = "\r\n" + line + "\r\n";
        cFakePort port;
        port.say(report);
        port.answer(report + OK_REPLY + report);
        port.answer(OK_REPLY);
        EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_GOOD) << line;
        EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_GOOD) << line;
        EXPECT_EQ(port.commands(), (std::vector<std::string>{"AT", "AT"}));
        EXPECT_EQ(port.elapsedMs(), 2u * 20) << line;
    }
}

// Text that a bench puts into the queue comes before the echo, without a line feed between them.
TEST(TestPortState, FifoWithAQueuedOk_IsGoodAndTestedOnce) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const cFakePort clockOnly;
    int descriptor;
    ASSERT_EQ(openDevice(folder / "fifo", descriptor), 0);
    g_que_testAtResponses.push("OK");
    EXPECT_EQ(testPortState(descriptor), ePORT_STATE_FAILED) << "only its own command comes back";
    EXPECT_EQ(testPortState(descriptor), ePORT_STATE_GOOD);
    std::string rest;
    EXPECT_EQ(readAtCommandResponse(descriptor, rest, 0), ePORT_NO_FINAL_RESULT);
    EXPECT_EQ(rest, "");
    closeDevice(descriptor);
}

TEST(TestPortState, ClosedPort_IsClosed) {
    const cFakePort port;
    EXPECT_EQ(testPortState(-1), ePORT_STATE_CLOSED);
    EXPECT_TRUE(port.sleepsUs().empty());
}

// A failed write counts as an answer: the error count of the main loop closes such a port.
TEST(TestPortState, HungUpPort_CountsAsAnswering) {
    cFakePort port(cFakePort::eLink::TERMINAL);
    ASSERT_EQ(getPortState(port.path(), port.descriptor()), ePORT_STATE_GOOD);
    port.hangUp();
    EXPECT_EQ(testPortState(port.descriptor()), ePORT_STATE_GOOD);
}
