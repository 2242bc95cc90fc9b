#include "device/link_state.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>

#include "device/at_port.h"
#include "device/at_transaction.h"
#include "device/late_answers.h"
#include "tests/support/fake_port.h"
#include "tests/support/temp_folder.h"

namespace {

const std::string CSQ_REPLY = "\r\n+CSQ: 17,0\r\n\r\nOK\r\n";
const char* const REFUSED_REPLY = "\r\n+CME ERROR: 567\r\n";
const char* const RING = "\r\nRING\r\n";

constexpr uint64_t COMMAND_MS = 20;  // time of a command if the modem answers at once
constexpr uint64_t TIMEOUT_MS = 1010;

struct sAnswered {
    ePortReturn result;
    std::string response;
};

sAnswered ask(cFakePort& port, const std::string& command, unsigned timeoutS = 0) {
    sAnswered answered;
    answered.result = sendAtCommand(port.descriptor(), command, answered.response, timeoutS);
    return answered;
}

// A command that the modem has echoed and answered.
void getInStep(cFakePort& port) {
    port.answer(OK_REPLY);
    ASSERT_EQ(ask(port, "AT").result, ePORT_OK);
}

}  // namespace

TEST(LinkState, LateAnswer_IsNotTakenForTheAnswerToTheNextCommand) {
    cFakePort port;
    port.answerLate(6500, OK_REPLY).answer(REFUSED_REPLY);
    EXPECT_EQ(ask(port, "AT+CGACT=0,1", 5).result, ePORT_NO_FINAL_RESULT);
    const sAnswered next = ask(port, "AT+CGDCONT=1,\"IP\",\"x\"");
    EXPECT_EQ(next.result, ePORT_CMX_ERROR);
    EXPECT_EQ(next.response.find("OK"), std::string::npos);
    EXPECT_LE(port.elapsedMs(), 6600u);
}

TEST(LinkState, LateErrorLine_IsDroppedWithItsNumber) {
    cFakePort port;
    port.silence().answer(CSQ_REPLY);
    ask(port, "AT+CPIN?");
    port.sayIn(100, "\r\n+CME ERROR: 1");
    port.sayIn(110, "1\r\n");
    const sAnswered next = ask(port, "AT+CSQ");
    EXPECT_EQ(next.result, ePORT_OK);
    EXPECT_EQ(next.response, "AT+CSQ\r" + CSQ_REPLY);
}

TEST(LinkState, SeveralLateAnswers_AreAllDropped) {
    cFakePort port;
    getInStep(port);
    port.silence().silence();
    ask(port, "AT+A");
    ask(port, "AT+B");
    port.setEcho(false);
    port.answerInPieces({OK_REPLY, "\r\nERROR\r\n", "AT+CSQ\r" + CSQ_REPLY});
    EXPECT_EQ(ask(port, "AT+CSQ").response, "AT+CSQ\r" + CSQ_REPLY);
}

TEST(LinkState, AnswerLaterThanTheWait_IsRecognisedByItsEcho) {
    for (const unsigned lateMs : {2500, 2900, 4000, 9000}) {
        cFakePort port;
        getInStep(port);
        port.silence();
        ask(port, "AT+A");
        port.setEcho(false);  // the modem is busy: it echoes the command when it processes it
        port.answerLate(lateMs, OK_REPLY + std::string("AT+CSQ\r") + REFUSED_REPLY);
        const sAnswered next = ask(port, "AT+CSQ", 10);
        EXPECT_EQ(next.result, ePORT_CMX_ERROR) << lateMs;
        EXPECT_EQ(next.response, std::string("AT+CSQ\r") + REFUSED_REPLY) << lateMs;
    }
}

TEST(LinkState, LateAnswerInTheSameReadAsTheNextOne_IsCutOff) {
    cFakePort port;
    getInStep(port);
    port.silence();
    ask(port, "AT+A");
    port.setEcho(false);
    port.answer("\r\n+A: 1\r\n\r\nOK\r\nAT+CSQ\r" + CSQ_REPLY);
    EXPECT_EQ(ask(port, "AT+CSQ").response, "AT+CSQ\r" + CSQ_REPLY);
    port.answer("AT\r\r\nOK\r\n");
    const uint64_t before = port.elapsedMs();
    EXPECT_EQ(ask(port, "AT").result, ePORT_OK);
    EXPECT_EQ(port.elapsedMs() - before, COMMAND_MS) << "in step again";
}

// A modem without echo: one answer may go to the wrong command, no second one.
TEST(LinkState, WithoutEcho_AtMostOneCommandGetsAnothersAnswer) {
    cFakePort port;
    port.setEcho(false);
    port.silence();
    ask(port, "AT+A");
    port.answerInPieces({OK_REPLY, REFUSED_REPLY});
    EXPECT_EQ(ask(port, "AT+B").result, ePORT_OK) << "the one before's";
    port.answer(CSQ_REPLY);
    EXPECT_EQ(ask(port, "AT+CSQ").response, CSQ_REPLY);
    port.answer(OK_REPLY);
    const uint64_t before = port.elapsedMs();
    ask(port, "AT");
    EXPECT_EQ(port.elapsedMs() - before, COMMAND_MS) << "in step again";
}

TEST(LinkState, EchoSeenToBeOff_IsNotRequired) {
    cFakePort port;
    port.answer(OK_REPLY);
    ask(port, "ATE0");
    port.setEcho(false);
    port.answer(OK_REPLY).silence().answer(CSQ_REPLY);
    ask(port, "AT");
    ask(port, "AT+A");
    EXPECT_EQ(ask(port, "AT+CSQ").response, CSQ_REPLY);
}

// An operator's ATE0, and then commands that get no answer.
TEST(LinkState, EchoSwitchedOffBeforeSilence_IsNotRequiredForever) {
    for (const int silent : {1, 2, 5}) {
        cFakePort port;
        port.answer(OK_REPLY);
        ask(port, "ATE0");
        port.setEcho(false);
        for (int i = 0; i < silent; ++i) {
            port.silence();
            ask(port, "AT+A");
        }
        for (int i = 0; i <= silent; ++i) {
            port.answer(CSQ_REPLY);
            EXPECT_EQ(ask(port, "AT+CSQ").result, ePORT_NO_FINAL_RESULT) << silent;
        }
        port.answer(CSQ_REPLY);
        EXPECT_EQ(ask(port, "AT+CSQ").response, CSQ_REPLY) << silent;
        port.answer(OK_REPLY);
        EXPECT_EQ(ask(port, "AT").result, ePORT_OK) << silent;
    }
}

// Each command is echoed in time, and all are answered later than the wait.
TEST(LinkState, LateAnswersWithoutTheirCommands_AreNoSignThatTheEchoIsOff) {
    cFakePort port;
    getInStep(port);
    port.silence().silence();
    ask(port, "AT+A");
    ask(port, "AT+B");
    port.setEcho(false);
    port.answerLate(1500, OK_REPLY);
    EXPECT_EQ(ask(port, "AT+C").result, ePORT_NO_FINAL_RESULT);
    port.answerLate(1500, OK_REPLY);
    EXPECT_EQ(ask(port, "AT+D", 1).result, ePORT_NO_FINAL_RESULT);
    port.answerLate(1500, "AT+C\r\r\nERROR\r\nAT+D\r\r\nERROR\r\nAT+CSQ\r" + CSQ_REPLY);
    EXPECT_EQ(ask(port, "AT+CSQ", 1).response, "AT+CSQ\r" + CSQ_REPLY);
}

TEST(LinkState, AnswerThatNeverComes_CostsOneSecondAndAnotherIfInDoubt) {
    cFakePort port;
    port.silence();
    ask(port, "AT+A");
    uint64_t before = port.elapsedMs();
    const uint64_t expectedMs[] = {1000 + COMMAND_MS, 1000 + COMMAND_MS, COMMAND_MS};
    for (const uint64_t ms : expectedMs) {
        port.answer(OK_REPLY);
        ask(port, "AT");
        EXPECT_EQ(port.elapsedMs() - before, ms);
        before = port.elapsedMs();
    }
}

TEST(LinkState, SilentModem_IsWaitedForOnceAndNotBeforeEachCommand) {
    cFakePort port;
    port.setEcho(false);
    for (int i = 0; i < 5; ++i) {
        port.silence();
        ask(port, "AT+A");
    }
    EXPECT_EQ(port.elapsedMs(), 5 * TIMEOUT_MS + 1000);
}

TEST(LinkState, TimeThatHasPassed_CountsForTheWait) {
    cFakePort port;
    port.silence().answer(OK_REPLY);
    ask(port, "AT+A");
    std::string ignored;
    readAtCommandResponse(port.descriptor(), ignored, 1);
    const uint64_t before = port.elapsedMs();
    ask(port, "AT");
    EXPECT_EQ(port.elapsedMs() - before, COMMAND_MS);
}

TEST(LinkState, UnsolicitedLinesWhileAnAnswerIsOwed_DelayByASecondAtMost) {
    for (const unsigned everyMs : {1, 10, 200}) {
        cFakePort port;
        port.silence();
        ask(port, "AT+A");
        for (unsigned ms = 0; ms < 5000; ms += everyMs)
            port.sayIn(ms, RING);
        const uint64_t before = port.elapsedMs();
        dropLateAnswers(port.descriptor());
        EXPECT_LE(port.elapsedMs() - before, 1000u) << everyMs;
    }
}

TEST(LinkState, UnsolicitedLines_OweNothing) {
    cFakePort port;
    getInStep(port);
    const uint64_t before = port.elapsedMs();
    for (int i = 0; i < 50; ++i) {
        port.say(RING);
        port.answer(RING + CSQ_REPLY + RING);
        const sAnswered answered = ask(port, "AT+CSQ");
        EXPECT_EQ(answered.result, ePORT_OK);
        EXPECT_NE(answered.response.find(CSQ_REPLY), std::string::npos);
    }
    EXPECT_EQ(port.elapsedMs() - before, 50 * COMMAND_MS);
}

TEST(LinkState, ConnectAndPrompt_CountAsFinalCodes) {
    for (const char* reply : {"\r\nCONNECT\r\n", "\r\n> ", "\r\n> \r\nRING\r\n"}) {
        cFakePort port;
        port.answer(reply).answer(OK_REPLY);
        EXPECT_EQ(ask(port, "AT+CGDATA=\"M-RAW_IP\",1").result, ePORT_NO_FINAL_RESULT);
        ask(port, "AT");
        EXPECT_EQ(port.elapsedMs(), TIMEOUT_MS + COMMAND_MS) << reply;
    }
}

// A prompt may come after its wait; what follows is the message's text, and no input is dropped
// before it.
TEST(LinkState, TextForAPrompt_IsSentWithoutDelayAndItsAnswerSettles) {
    for (const char* text : {"0011000B91\x1a", "\x1b"}) {
        cFakePort port;
        port.silence().answer(REFUSED_REPLY).answer(OK_REPLY);
        ask(port, "AT+CMGS=18");
        EXPECT_EQ(ask(port, text, 60).result, ePORT_CMX_ERROR);
        ask(port, "AT");
        EXPECT_EQ(port.elapsedMs(), TIMEOUT_MS + 2 * COMMAND_MS);
    }
}

TEST(LinkState, UnansweredTextForAPrompt_OwesAnAnswer) {
    cFakePort port;
    port.answer("\r\n> ").silence().answer(CSQ_REPLY);
    ask(port, "AT+CMGS=18");
    ask(port, "0011000B91\x1a", 1);
    port.sayIn(100, "\r\n+CMGS: 5\r\n\r\nOK\r\n");
    EXPECT_EQ(ask(port, "AT+CSQ").response, "AT+CSQ\r" + CSQ_REPLY);
}

TEST(LinkState, FinalCodeReadWithoutACommand_Settles) {
    cFakePort port;
    port.silence().answer(OK_REPLY);
    ask(port, "AT+CPIN=1234");
    port.sayIn(20, "\r\nOK\r\n\r\n+PACSP0\r\n");
    std::string announced;
    EXPECT_EQ(readAtCommandResponse(port.descriptor(), announced, 0), ePORT_OK);
    const uint64_t before = port.elapsedMs();
    ask(port, "AT");
    EXPECT_EQ(port.elapsedMs() - before, COMMAND_MS);
}

TEST(LinkState, UnexpectedFinalCode_OwesNothing) {
    cFakePort port;
    std::string response;
    port.say(OK_REPLY);
    readAtCommandResponse(port.descriptor(), response, 0);
    for (int i = 0; i < 2; ++i) {
        port.answer(OK_REPLY);
        const uint64_t before = port.elapsedMs();
        EXPECT_EQ(ask(port, "AT").result, ePORT_OK);
        EXPECT_EQ(port.elapsedMs() - before, COMMAND_MS);
    }
}

TEST(LinkState, PortOpenedAgain_OwesNothing) {
    cFakePort port(cFakePort::eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.silence().answer(OK_REPLY);
    ask(port, "AT+A");
    closeDevice(port.descriptor());
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    const uint64_t before = port.elapsedMs();
    ask(port, "AT");
    EXPECT_LE(port.elapsedMs() - before, COMMAND_MS + 20);
}

TEST(LinkState, OwedOnOnePort_IsNotOwedOnTheOther) {
    cFakePort port;
    port.silence();
    ask(port, "AT+A");
    const uint64_t before = port.elapsedMs();
    dropLateAnswers(port.descriptor() + 1);
    EXPECT_EQ(port.elapsedMs(), before);
    dropLateAnswers(port.descriptor());
    EXPECT_EQ(port.elapsedMs(), before + 1000);
}

TEST(LinkState, HungUpPort_IsNotWaitedFor) {
    cFakePort port(cFakePort::eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.silence();
    ask(port, "AT+A");
    port.hangUp();
    const uint64_t before = port.elapsedMs();
    EXPECT_EQ(ask(port, "AT").result, ePORT_ERROR);
    EXPECT_LE(port.elapsedMs() - before, COMMAND_MS);
}

// A bench may write its answers before the commands.
TEST(LinkState, Fifo_NeverDropsAnything) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const cFakePort clockOnly;
    int descriptor;
    ASSERT_EQ(openDevice(folder / "fifo", descriptor), 0);
    std::string response;
    EXPECT_EQ(sendAtCommand(descriptor, "AT", response, 0), ePORT_NO_FINAL_RESULT);
    ASSERT_EQ(writeToPort(descriptor, "OK", true), ePORT_OK);
    EXPECT_EQ(sendAtCommand(descriptor, "AT", response, 0), ePORT_OK);
    closeDevice(descriptor);
}

TEST(LinkState, PollDelayOverride_NeverDropsAnything) {
    setenv(TEST_POLL_VARIABLE, "1", 1);
    cFakePort port;
    port.silence().answer(CSQ_REPLY);
    ask(port, "AT+A");
    port.say(OK_REPLY);
    EXPECT_EQ(ask(port, "AT+CSQ").result, ePORT_OK);
    EXPECT_LE(port.elapsedMs(), 21u);
    unsetenv(TEST_POLL_VARIABLE);
    resetLinkState();
}

TEST(LinkState, HoldsPrompt_LooksForALineOfItsOwn) {
    EXPECT_TRUE(holdsPrompt("AT+CMGS=18\r\r\n> "));
    EXPECT_TRUE(holdsPrompt("\r\n> \r\n+CREG: 1\r\n"));
    EXPECT_FALSE(holdsPrompt("\r\n> text\r\n"));
    EXPECT_FALSE(holdsPrompt(""));
}
