#include "sms/send.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "include/sleep.h"
#include "include/utilities.h"
#include "sms/open_prompt.h"
#include "sms/receive.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"
#include "tests/support/in_pass.h"
#include "tests/support/no_unlink.h"
#include "tests/support/simulated_port.h"
#include "tests/unit/sms/fixture.h"

namespace {

using tNames = std::vector<std::string>;

const std::string CTRL_Z = "\x1a";
const std::string ESC = "\x1b";
const std::string PROMPT = "\r\n> ";
const std::string SENT = "\r\n+CMGS: 5\r\n\r\nOK\r\n";

class SmsSend : public cSmsFixture {
  protected:
    SmsSend() { device.modem.s_own_number = "12025550101"; }

    eGeneralErrors check() { return checkSendSmS(port.handle(), device.modem, root); }
    // Answers for one message of one PDU.
    void modemSends() { port.answer(OK_REPLY).answer(PROMPT).answer(SENT); }
    void modemRefuses() { port.answer(OK_REPLY).answer(PROMPT).answer(ERROR_REPLY); }
    eGeneralErrors checkSent() {
        modemSends();
        return check();
    }
    eGeneralErrors checkRefused() {
        modemRefuses();
        const eGeneralErrors result = check();
        waitForDelay();
        return result;
    }
    static void waitForDelay() { sleepMicroseconds(5000000); }
    // The file that the daemon takes next.
    std::string lastListed() const {
        tNames found;
        readFilesInDir(in("send"), found);
        return found.empty() ? "" : found.back();
    }

    cFakePort port;
};

class SmsSendText : public SmsSend {
  protected:
    SmsSendText() { device.modem.i_sms_network_family = 2; }
    void modemSendsText() { port.answer(OK_REPLY).answer(OK_REPLY).answer(PROMPT).answer(SENT); }
};

// Something happens in the folder while the modem is waited for.
class SmsSendMeanwhile : public cSmsFixture {
  protected:
    eGeneralErrors check() { return checkSendSmS(port.handle(), device.modem, root); }
    // What the modem was given to send.
    tNames sentTexts() {
        tNames texts;
        const nlohmann::json dump = port.modem().control({{"op", "dump"}});
        for (const nlohmann::json& sms : dump.at("state").at("sms").at("sent"))
            texts.push_back(sms.at("text").get<std::string>());
        return texts;
    }
    void TearDown() override { EXPECT_TRUE(port.modem().problems().empty()); }

    cSimulatedPort port{nlohmann::json::object()};
};

}  // namespace

TEST_F(SmsSend, OneFile_IsSentAndMoved) {
    putSend("hello", "Hello");
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGS=18",
                                       "0001000B912120550521F3000005C8329BFD06" + CTRL_Z}));
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(names("send_ok"), tNames{std::string("hello.") + "20200615-203205"});
    EXPECT_EQ(contents("send_ok"), tNames{"TO=+12025550123\nMSG=Hello\n"});
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
    EXPECT_EQ(device.modem.i_sms_sent_fail, 0U);
    EXPECT_EQ(logCount("Reading SMS File " + in("send", "hello")), 1U);
    EXPECT_EQ(logCount("Success sending PDU SMS message"), 1U);
    EXPECT_EQ(logCount("Send Success: TO=12025550123, MSG=Hello"), 1U);
}

TEST_F(SmsSend, NumberWithoutPlus_IsOfUnknownType) {
    writeFile(in("send", "file"), "TO=12025550123\nMSG=Hello");
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_EQ(port.commands().back(), "0001000B812120550521F3000005C8329BFD06" + CTRL_Z);
}

TEST_F(SmsSend, PduModeRefusedOrNotAnswered_SendsAllTheSame) {
    for (const char* answer : {ERROR_REPLY, ""}) {
        putSend("file", "Hello");
        port.answer(answer).answer(PROMPT).answer(SENT);
        EXPECT_EQ(check(), eSUCCESS) << answer;
    }
}

TEST_F(SmsSend, PduSteps_HaveTheirTimes) {
    putSend("hello", "Hello");
    port.answer(OK_REPLY).answer(PROMPT).answerLate(59000, SENT);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_GE(port.elapsedMs(), 60000U) << "a second for the prompt, and the answer";
}

TEST_F(SmsSend, ThreeFiles_AreSentLastEntryFirstOnePerCall) {
    for (const char* name : {"a", "b", "c"})
        putSend(name, name);
    for (int i = 0; i < 3; ++i) {
        const std::string next = lastListed();
        EXPECT_EQ(checkSent(), eSUCCESS);
        EXPECT_FALSE(fileExists(in("send", next)));
        EXPECT_EQ(names("send").size(), 2U - static_cast<size_t>(i));
        EXPECT_TRUE(logContains("Send Success: TO=12025550123, MSG=" + next));
    }
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(device.modem.i_sms_sent, 3U);
}

TEST_F(SmsSend, LongMessage_IsSentAsItsFirst918Characters) {
    putSend("long", std::string(1000, 'x'));
    port.answer(OK_REPLY);
    for (int i = 0; i < 6; ++i)
        port.answer(PROMPT).answer(SENT);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().size(), 13U);
    EXPECT_EQ(logCount("SMS Message too long (1000 chars), truncating to 918 chars"), 1U);
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
}

TEST_F(SmsSendMeanwhile, LongMessage_ArrivesAsItsFirst918Characters) {
    const std::string first = std::string(459, 'a') + std::string(459, 'b');
    putSend("long", first + std::string(82, 'c'));
    EXPECT_EQ(check(), eSUCCESS);
    std::string arrived;
    for (const std::string& text : sentTexts())
        arrived += text;
    EXPECT_EQ(arrived, first);
}

TEST_F(SmsSend, ThirdPduFails_TheWholeFileIsTriedAgain) {
    putSend("long", std::string(400, 'x'));
    port.answer(OK_REPLY).answer(PROMPT).answer(SENT).answer(PROMPT).answer(SENT).answer(PROMPT);
    port.answer(ERROR_REPLY);
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    g_Cp_DelaySendSMS->Stop();
    port.answer(OK_REPLY);
    for (int i = 0; i < 3; ++i)
        port.answer(PROMPT).answer(SENT);
    EXPECT_EQ(check(), eSUCCESS);
    const std::string first = port.commands()[2];
    const std::string again = port.commands()[9];
    EXPECT_EQ(first.size(), again.size());
    EXPECT_NE(first, again) << "another reference";
}

TEST_F(SmsSend, FailsTwiceThenSucceeds_EndsInSendOkWithTheTimeOfTheSuccess) {
    putSend("file", "Hello");
    EXPECT_EQ(checkRefused(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(checkRefused(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(logCount("Send #1 Failed: TO=12025550123, MSG=Hello (truncated)"), 1U);
    EXPECT_EQ(logCount("Send #2 Failed: TO=12025550123, MSG=Hello (truncated)"), 1U);
    EXPECT_EQ(names("send"), tNames{"file"});
    const uint64_t passedS = port.elapsedMs() / 1000;
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_EQ(names("send_ok"), tNames{"file.20200615-2032" + std::to_string(5 + passedS)});
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
    EXPECT_EQ(device.modem.i_sms_sent_fail, 0U);
    EXPECT_FALSE(g_Cp_DelaySendSMS->IsTimerEnabled());
    putSend("file", "Hello");
    checkRefused();
    EXPECT_EQ(logCount("Send #1 Failed: TO=12025550123, MSG=Hello (truncated)"), 2U);
}

TEST_F(SmsSend, ThirdFailure_MovesTheFileAndCountsOnce) {
    putSend("file", std::string(60, 'y'));
    checkRefused();
    checkRefused();
    modemRefuses();
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_TRUE(names("send").empty());
    ASSERT_EQ(names("send_fail").size(), 1U);
    EXPECT_EQ(device.modem.i_sms_sent_fail, 1U);
    EXPECT_EQ(device.modem.i_sms_sent, 0U);
    EXPECT_EQ(
        logCount("Send #3 Failed : TO=12025550123, MSG=" + std::string(50, 'y') + " (truncated)"),
        1U);
    EXPECT_EQ(logCount("Max send attempt, moving file to /send_fail//" + names("send_fail")[0]),
              1U);
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_DELAY_TIMER_RUNNING);
    waitForDelay();
    putSend("file", "Hello");
    checkRefused();
    EXPECT_EQ(names("send"), tNames{"file"}) << "another file, with attempts of its own";
}

TEST_F(SmsSend, InvalidFile_EndsTheAttemptsOfItsName) {
    putSend("file", "Hello");
    checkRefused();
    checkRefused();
    writeFile(in("send", "file"), "nothing");
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE);
    putSend("file", "Hello");
    checkRefused();
    EXPECT_EQ(names("send"), tNames{"file"});
}

TEST_F(SmsSend, FileThatCannotBeDeleted_HoldsNobodyUp) {
    writeFile(in("send", "file"), "nothing");
    const cNoUnlink readOnly;
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE);
    EXPECT_EQ(logCount("Error: Cannot delete SMS file " + in("send", "file") +
                       ", errno 30 (Read-only file system)"),
              1U);
    const size_t logged = capturedLog().size();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(capturedLog().size(), logged);
    writeFile(in("send", "file"), "TO=12345\nMSG=and now");
    EXPECT_EQ(checkSent(), eSUCCESS) << "it has changed";
}

TEST_F(SmsSend, FailureCount_BelongsToTheFileLastRead) {
    putSend("file", "Hello");
    checkRefused();
    checkRefused();
    std::filesystem::remove(in("send", "file"));
    EXPECT_EQ(check(), eSUCCESS) << "an empty folder forgets the file";
    putSend("file", "Hello");
    checkRefused();
    EXPECT_EQ(logCount("Send #1 Failed: TO=12025550123, MSG=Hello (truncated)"), 2U);
}

TEST_F(SmsSend, AnotherFileLast_HasItsOwnAttempts) {
    putSend("a", "Hello");
    putSend("b", "Hello");
    const std::string first = lastListed();
    checkRefused();
    checkRefused();
    std::filesystem::rename(in("send", first), folder / first);
    EXPECT_EQ(checkRefused(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(logCount("Send #1 Failed: TO=12025550123, MSG=Hello (truncated)"), 2U);
    EXPECT_TRUE(names("send_fail").empty());
}

TEST_F(SmsSend, SendFolder_IsThatOfTheFirstCall) {
    const std::string other = folder / "other";
    makeSmsDirs(other);
    writeFile(other + "/send/file", "TO=12025550199\nMSG=Hello");
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(checkSendSmS(port.handle(), device.modem, other), eSUCCESS);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_TRUE(fileExists(other + "/send/file"));
}

TEST_F(SmsSend, AfterAFailure_NothingIsTriedForFiveSeconds) {
    putSend("file", "Hello");
    modemRefuses();
    check();
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_DELAY_TIMER_RUNNING);
    EXPECT_EQ(g_Cp_DelaySendSMS->GetTimeout(), 5U);
    EXPECT_EQ(port.commands().size(), 3U);
}

TEST_F(SmsSend, InvalidFile_IsDeletedAtOnce) {
    writeFile(in("send", "file"), "TO=1\nMSG=x");
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE);
    EXPECT_TRUE(names("send").empty());
    EXPECT_TRUE(names("send_fail").empty());
    EXPECT_EQ(logCount("SMS send file " + in("send", "file") + " is invalid, deleting"), 1U);
    EXPECT_EQ(device.modem.i_sms_sent_fail, 0U);
    EXPECT_TRUE(port.commands().empty());
}

TEST_F(SmsSend, NumberThatNoNetworkTakes_IsGivenUpAfterThreeAttempts) {
    writeFile(in("send", "file"), "TO=" + std::string(50, '7') + "\nMSG=x");
    for (int i = 0; i < 3; ++i) {
        port.answer(OK_REPLY);
        EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_ENCODE_FAILURE);
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_EQ(logCount("Error: Failed to PDU Encode SMS message, cannot send"), 3U);
    EXPECT_EQ(names("send_fail").size(), 1U);
}

TEST_F(SmsSend, FolderMissing_IsToldOnceAndGives402) {
    std::filesystem::remove_all(in("send"));
    const auto failing = [&] { EXPECT_EQ(check(), eERROR_DEVICE_SMS_READ_SEND_DIR_FAILURE); };
    inPass(eWORK_SMS, failing);
    inPass(eWORK_SMS, failing);
    const std::string told = "checkSendSmS(): Unable to read SMS DIR " + in("send") +
                             ", errno 2 (No such file or directory)";
    EXPECT_EQ(logCount(told), 1U);
    makeSmsDirs(root);
    inPass(eWORK_SMS, [&] { EXPECT_EQ(check(), eSUCCESS); });
    std::filesystem::remove_all(in("send"));
    inPass(eWORK_SMS, failing);
    EXPECT_EQ(logCount(told), 2U) << "and again the next time";
}

TEST_F(SmsSend, WhatIsNoFile_IsPassedOver) {
    std::filesystem::create_directory(in("send", "folder"));
    ASSERT_EQ(mkfifo(in("send", "fifo").c_str(), 0600), 0);
    writeFile(folder / "outside", "TO=12345\nMSG=secret");
    std::filesystem::create_symlink(folder / "outside", in("send", "link"));
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(port.commands().empty());
    putSend("file", "Hello");
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_EQ(names("send"), (tNames{"fifo", "folder", "link"}));
}

TEST_F(SmsSend, TemporaryFile_IsNoMessageYet) {
    writeFile(in("send", ".cellslot-tmp-abcdef"), "TO=1202");
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(names("send").size(), 1U);
}

// The daemon of another slot shares the spool.
TEST_F(SmsSend, FileThatAnotherDaemonSends_IsLeftToIt) {
    putSend("file", "Hello");
    const int other = open(in("send", "file").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(names("send"), tNames{"file"});
    close(other);
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
}

TEST_F(SmsSend, FolderForSentFilesIsALink_FileGoesAndNothingIsPutThere) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directory(outside);
    for (const char* name : {"file", "not safe for a shell"}) {
        std::filesystem::remove(root + "/send_ok");
        std::filesystem::create_directory_symlink(outside, root + "/send_ok");
        putSend(name, "Hello");
        EXPECT_EQ(checkSent(), eSUCCESS);
        EXPECT_TRUE(names("send").empty());
        EXPECT_TRUE(std::filesystem::is_empty(outside)) << name;
    }
}

TEST_F(SmsSend, NameOfASentFileIsALink_LinkIsReplaced) {
    const std::string outside = folder / "outside";
    std::filesystem::create_directory(outside);
    std::filesystem::create_directory_symlink(outside, in("send_ok", "file." + fileTimeText()));
    putSend("file", "Hello");
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_TRUE(std::filesystem::is_empty(outside));
    EXPECT_EQ(contents("send_ok").size(), 1U);
}

TEST_F(SmsSend, Prompt_IsMarkedWhileItMayBeOpen) {
    const std::string marker = root + "/.cellslot-prompt.1";
    putSend("file", "Hello");
    const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ASSERT_NE(inotify_add_watch(watch, root.c_str(), IN_CREATE | IN_DELETE), -1);
    EXPECT_EQ(checkSent(), eSUCCESS);
    char events[4096];
    const ssize_t length = read(watch, events, sizeof events);
    close(watch);
    EXPECT_NE(std::string(events, std::max<ssize_t>(length, 0)).find(".cellslot-prompt."),
              std::string::npos);
    EXPECT_FALSE(fileExists(marker));
    endLeftPrompt(port.handle());
    EXPECT_EQ(port.commands().back().back(), '\x1a') << "nothing is sent without a reason";
}

TEST_F(SmsSend, PromptThatAKillLeftOpen_IsEndedOnce) {
    const std::string marker = root + "/.cellslot-prompt.1";
    writeFile(marker, "");
    initSMS(root);
    port.silence();
    endLeftPrompt(port.handle());
    endLeftPrompt(port.handle());
    EXPECT_EQ(port.commands(), tNames{ESC});
    EXPECT_FALSE(fileExists(marker));
}

TEST_F(SmsSend, PromptThatCannotBeEndedYet_IsEndedOverTheNextPort) {
    writeFile(root + "/.cellslot-prompt.1", "");
    initSMS(root);
    endLeftPrompt(-1);
    port.silence();
    endLeftPrompt(port.handle());
    EXPECT_EQ(port.commands(), tNames{ESC});
}

TEST_F(SmsSend, HostileNames_AreMovedAndNeverExecuted) {
    const std::string longName(255, 'n');
    const tNames hostile = {"a;touch pwned",
                            "$(touch pwned)",
                            "`touch pwned`",
                            "a b  c",
                            "quo\"te'",
                            "-rf",
                            "*",
                            "new\nline",
                            "\\x &|<>",
                            "caf\xc3\xa9\xff",
                            ">pwned",
                            longName,
                            "~",
                            "{a,b}",
                            "!!",
                            "-t"};
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    for (const std::string& name : hostile) {
        putSend(name, "Hello");
        EXPECT_EQ(checkSent(), eSUCCESS) << name;
        EXPECT_TRUE(names("send").empty()) << name;
        const std::string moved = name.substr(0, 255 - 16) + ".";
        const tNames sent = names("send_ok");
        ASSERT_EQ(sent.size(), 1U) << name;
        EXPECT_EQ(sent[0].substr(0, moved.size()), moved);
        EXPECT_LE(sent[0].size(), 255U);
        EXPECT_EQ(contents("send_ok"), tNames{"TO=+12025550123\nMSG=Hello\n"});
        std::filesystem::remove(in("send_ok", sent[0]));
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(device.modem.i_sms_sent, hostile.size());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
    for (const std::string& line : capturedLog())
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
}

TEST_F(SmsSend, HostileNames_ThatFail_EndInSendFail) {
    putSend("$(touch pwned) ;", "Hello");
    for (int i = 0; i < 3; ++i)
        checkRefused();
    EXPECT_TRUE(names("send").empty());
    ASSERT_EQ(names("send_fail").size(), 1U);
    EXPECT_EQ(names("send_fail")[0].substr(0, 17), "$(touch pwned) ;.");
}

TEST_F(SmsSend, SafeName_IsMovedByTheCommand) {
    // A stub in the command's place tells how it was called.
    const std::string stub = folder / "mv";
    writeFile(stub, "#!/bin/sh\necho \"$*\" >" + (folder / "called") + "\n");
    ASSERT_EQ(chmod(stub.c_str(), 0755), 0);
    const std::string path = getenv("PATH");
    setenv("PATH", (folder.path() + ":" + path).c_str(), 1);
    putSend("A-z_0.9+@%,:=", "Hello");
    EXPECT_EQ(checkSent(), eSUCCESS);
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(readFile(folder / "called"), "-f " + in("send", "A-z_0.9+@%,:=") + " " +
                                               in("send_ok", "A-z_0.9+@%,:=.") + START_TEXT + "\n");
    EXPECT_TRUE(names("send").empty()) << "a move that failed leaves nothing";
}

// The writer renames its next message over the one that is just being sent.
TEST_F(SmsSendMeanwhile, FileReplacedWhileItIsSent_IsSentAsWell) {
    putSend("alarm", "first");
    writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
    port.onTurn([&] {
        if (port.modem().commands().size() == 2 && fileExists(folder / "next"))
            std::filesystem::rename(folder / "next", in("send", "alarm"));
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), (tNames{"first", "second"}));
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(device.modem.i_sms_sent, 2U);
}

TEST_F(SmsSendMeanwhile, FileChangedInPlaceWhileItIsSent_IsSentOnceAndMoved) {
    int turns = 0;
    const auto change = [&] {
        const std::string path = in("send", "alarm");
        if (!fileExists(path)) return;
        ++turns;
        if (turns % 2 == 0)
            putSend("alarm", "changed " + std::to_string(turns));
        else
            setFileTime(path, START_S + turns);
    };
    putSend("alarm", "once");
    port.onTurn(change);
    for (int call = 0; call < 5; ++call)
        EXPECT_EQ(check(), eSUCCESS);
    EXPECT_GT(turns, 2);
    EXPECT_EQ(sentTexts(), tNames{"once"});
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(names("send_ok").size(), 1U);
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
}

TEST_F(SmsSendMeanwhile, FileChangedInPlaceWhileItFails_IsGivenUpAfterThreeAttempts) {
    int turns = 0;
    putSend("alarm", "never");
    port.onTurn([&] {
        if (fileExists(in("send", "alarm"))) setFileTime(in("send", "alarm"), START_S + ++turns);
    });
    port.order({{"op", "fault"}, {"prefix", "AT+CMGS"}, {"kind", "error"}, {"count", 5}});
    for (int i = 0; i < 5; ++i) {
        check();
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(names("send_fail").size(), 1U);
}

// Some file systems give the number of a deleted file to the next one.
TEST_F(SmsSendMeanwhile, FileDeletedAndWrittenAnewWhileItIsSent_IsANewMessage) {
    putSend("alarm", "first");
    bool replaced = false;
    port.onTurn([&] {
        if (replaced || port.modem().commands().size() != 2) return;
        replaced = true;
        std::filesystem::remove(in("send", "alarm"));
        putSend("alarm", "other");
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), (tNames{"first", "other"}));
    EXPECT_TRUE(names("send").empty());
}

TEST_F(SmsSendMeanwhile, FileTakenBackWhileItIsSent_LeavesNothing) {
    putSend("alarm", "once");
    port.onTurn([&] { std::filesystem::remove(in("send", "alarm")); });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_TRUE(names("send_ok").empty());
    EXPECT_EQ(device.modem.i_sms_sent, 1U);
}

TEST_F(SmsSendMeanwhile, FileReplacedJustBeforeItIsRead_IsSentOnce) {
    putSend("alarm", "first");
    writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
    onLogged("Reading SMS File " + in("send", "alarm"),
             [&] { std::filesystem::rename(folder / "next", in("send", "alarm")); });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(sentTexts(), tNames{"second"});
}

TEST_F(SmsSendMeanwhile, FileThatGetsOtherRightsWhileItIsSent_IsSentOnce) {
    putSend("alarm", "once");
    port.onTurn([&] {
        if (port.modem().commands().size() == 2) chmod(in("send", "alarm").c_str(), 0440);
    });
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_TRUE(names("send").empty());
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), tNames{"once"});
}

TEST_F(SmsSendMeanwhile, FileReplacedWhileItFails_StaysForItsOwnAttempts) {
    putSend("alarm", "first");
    for (int i = 0; i < 3; ++i) {
        if (i == 2) {
            writeFile(folder / "next", "TO=+12025550123\nMSG=second\n");
            const size_t before = port.modem().commands().size();
            port.onTurn([&, before] {
                if (port.modem().commands().size() == before + 2 && fileExists(folder / "next"))
                    std::filesystem::rename(folder / "next", in("send", "alarm"));
            });
        }
        port.order({{"op", "fault"}, {"match", "AT+CMGS=18"}, {"kind", "error"}, {"count", 1}});
        EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_EQ(names("send"), tNames{"alarm"});
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(sentTexts(), tNames{"second"});
}

TEST_F(SmsSend, PromptRefused_EndsTheAttempt) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(modemReply({}, "+CMS ERROR: 500"));
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGF=0", "AT+CMGS=18"}));
    EXPECT_TRUE(logContains("sendSmsPdu(): AT command AT+CMGS=18 returned CME error 500 (" +
                            mapText(CMEE_Map, static_cast<ePortReturn>(500)) + ")"));
    EXPECT_EQ(logCount("Error: Sending PDU encoded SMS message returned an error"), 1U);
}

TEST_F(SmsSend, PromptRefusedWithAnUnknownNumber_EndsTheAttemptToo) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(modemReply({}, "+CMS ERROR: 9999"));
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_SEND_ERROR);
    EXPECT_EQ(port.commands().back(), "AT+CMGS=18");
    EXPECT_EQ(logCount("sendSmsPdu(): AT command AT+CMGS=18 returned CME error -1 ()"), 1U);
}

TEST_F(SmsSend, DebugMaskOfTheCodec_ShowsWhatWasEncoded) {
    putSend("file", "Hello");
    g_i_debugMode = eLOG_SMS_PDU;
    testing::internal::CaptureStdout();
    EXPECT_EQ(checkSent(), eSUCCESS);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("1 PDUs for a message of 5 characters"),
              std::string::npos);
}

TEST_F(SmsSend, PromptAnsweredByError_ReturnsIt) {
    port.answer(ERROR_REPLY);
    EXPECT_EQ(sendSmsPdu(port.handle(), 36, "00"), ePORT_ERROR);
    EXPECT_EQ(port.commands(), tNames{"AT+CMGS=17"}) << "36 digits";
}

TEST_F(SmsSend, PromptAnsweredByOk_PduFollows) {
    port.answer(OK_REPLY).answer(SENT);
    EXPECT_EQ(sendSmsPdu(port.handle(), 4, "0001"), ePORT_OK);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGS=1", "0001" + CTRL_Z}));
}

TEST_F(SmsSend, NetworkRefuses_GivesTheNumberAndTheLog) {
    port.answer(PROMPT).answer(modemReply({}, "+CMS ERROR: 500"));
    EXPECT_EQ(sendSmsPdu(port.handle(), 4, "0001"), 500);
    EXPECT_TRUE(logContains("sendSmsPdu(): AT command 'AT+CMGS=10001' returned CME error 500 ("));
}

TEST_F(SmsSend, NoAnswerToThePdu_IsAbortedWithEsc) {
    putSend("file", "Hello");
    port.answer(OK_REPLY).answer(PROMPT).silence().silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands().back(), ESC);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs()), 63000, 200);
    EXPECT_EQ(logCount("Error: Sending PDU encoded SMS message timed out"), 1U);
    EXPECT_EQ(names("send"), tNames{"file"});
}

TEST_F(SmsSend, DirectCall_SendsNoWhiteSpaceAtTheEnd) {
    modemSends();
    EXPECT_EQ(sendSmSMessage(port.handle(), "12345", "", "Hello \t\r\n", eSMS_3GPP), eSUCCESS);
    EXPECT_EQ(port.commands().back(), "00010005812143F5000005C8329BFD06" + CTRL_Z);
}

TEST_F(SmsSend, ControlCharactersInAPdu_BecomeQuestionMarks) {
    putSend("file", "a\x1a");
    EXPECT_EQ(checkSent(), eSUCCESS);
    // 'a' and '?'.
    EXPECT_EQ(port.commands().back(), "0001000B912120550521F3000002E11F" + CTRL_Z);
}

TEST_F(SmsSend, TextModes_HaveTheirNames) {
    const char* const names[] = {"GSM", "IRA", "8859-1", "PCCP437", "UCS2", "HEX"};
    for (int mode = 0; mode < 6; ++mode) {
        port.answer(OK_REPLY);
        EXPECT_EQ(setSmsTextMode(port.handle(), static_cast<eTextMode>(mode)), ePORT_OK);
        EXPECT_EQ(port.commands().back(), std::string("AT+CSCS=\"") + names[mode] + "\"");
    }
    EXPECT_EQ(setSmsTextMode(port.handle(), static_cast<eTextMode>(6)), 303);
    EXPECT_EQ(logCount("setSmsTextMode(): Error: Unknown SMS Text command Command 6"), 1U);
    const uint64_t before = port.elapsedMs();
    port.silence();
    EXPECT_EQ(setSmsTextMode(port.handle(), eSMS_TEXT_IRA), ePORT_NO_FINAL_RESULT);
    EXPECT_NEAR(static_cast<double>(port.elapsedMs() - before), 3000, 50);
    port.answer(modemReply({}, "+CME ERROR: 3"));
    EXPECT_EQ(setSmsTextMode(port.handle(), eSMS_TEXT_IRA), 3);
}

TEST_F(SmsSendText, Message_IsSentInTextMode) {
    putSend("file", "a\r\nb\r\n\r\nc");
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.written(),
              "AT+CMGF=1\rAT+CSCS=\"IRA\"\rAT+CMGS=\"12025550123\"\ra\n\nb\n\n\n\nc\x1a\r");
    EXPECT_EQ(names("send_ok").size(), 1U);
}

TEST_F(SmsSendText, PromptBreakers_BecomeQuestionMarks) {
    putSend("file", std::string("a\x1a") + "AT+CFUN=0\rb\x1b\x08\t\x7f" + "end");
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().back(),
              "a?AT+CFUN=0\nb??\t\x7f"
              "end" +
                  CTRL_Z);
}

TEST_F(SmsSendText, DirectCall_KeepsThePromptToo) {
    port.answer(PROMPT).answer(SENT);
    EXPECT_EQ(sendSmsText(port.handle(), "12345", "x\x1aY"), ePORT_OK);
    EXPECT_EQ(port.commands(), (tNames{"AT+CMGS=\"12345\"", "x?Y" + CTRL_Z}));
}

TEST_F(SmsSendText, LongMessage_IsTruncated) {
    const std::string first = std::string(917, 'x') + "y";
    putSend("file", first + std::string(82, 'z'));
    modemSendsText();
    EXPECT_EQ(check(), eSUCCESS);
    EXPECT_EQ(port.commands().back(), first + CTRL_Z);
    EXPECT_EQ(logCount("SMS Message too long (1000 chars), truncating to 918 chars"), 1U);
}

TEST_F(SmsSendText, ModeTimesOut_Gives6) {
    putSend("file", "x");
    port.silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(logCount("Error: Setting SMS text 'send mode' timed out"), 1U);
    g_Cp_DelaySendSMS->Stop();
    port.answer(ERROR_REPLY).silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT) << "a refused mode is no obstacle";
    EXPECT_EQ(logCount("Error: Setting SMS text 'send mode type' timed out"), 1U);
}

TEST_F(SmsSendText, NoAnswerToTheText_IsAbortedWithEsc) {
    putSend("file", "x");
    port.answer(OK_REPLY).answer(OK_REPLY).answer(PROMPT).silence().silence();
    EXPECT_EQ(check(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(port.commands().back(), ESC);
}
