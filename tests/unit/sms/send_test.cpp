#include "sms/send.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "include/device_records.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"
#include "tests/support/in_pass.h"
#include "tests/support/no_unlink.h"
#include "tests/unit/sms/send_fixture.h"

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

TEST_F(SmsSend, PduModeRefusedOrNotAnswered_StillSends) {
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

TEST_F(SmsSend, ThreeFiles_AreSentOnePerCallBeginningWithTheLastEntry) {
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

TEST_F(SmsSend, InvalidFile_ResetsTheAttemptsOfItsName) {
    putSend("file", "Hello");
    checkRefused();
    checkRefused();
    writeFile(in("send", "file"), "nothing");
    EXPECT_EQ(check(), eERROR_DEVICE_SMS_OUT_FILE_PARSE_FAILURE);
    putSend("file", "Hello");
    checkRefused();
    EXPECT_EQ(names("send"), tNames{"file"});
}

TEST_F(SmsSend, FileThatCannotBeDeleted_DoesNotBlockOthers) {
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

TEST_F(SmsSend, AnotherFile_HasItsOwnAttempts) {
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
    EXPECT_EQ(checkSendSmS(port.descriptor(), device.modem, other), eSUCCESS);
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

TEST_F(SmsSend, NumberThatNoNetworkAccepts_IsGivenUpAfterThreeAttempts) {
    writeFile(in("send", "file"), "TO=" + std::string(50, '7') + "\nMSG=x");
    for (int i = 0; i < 3; ++i) {
        port.answer(OK_REPLY);
        EXPECT_EQ(check(), eERROR_DEVICE_SMS_PDU_ENCODE_FAILURE);
        g_Cp_DelaySendSMS->Stop();
    }
    EXPECT_EQ(logCount("Error: Failed to PDU Encode SMS message, cannot send"), 3U);
    EXPECT_EQ(names("send_fail").size(), 1U);
}

TEST_F(SmsSend, FolderMissing_IsLoggedOnceAndGives402) {
    std::filesystem::remove_all(in("send"));
    const auto failing = [&] { EXPECT_EQ(check(), eERROR_DEVICE_SMS_READ_SEND_DIR_FAILURE); };
    inPass(eWORK_SMS, failing);
    inPass(eWORK_SMS, failing);
    const std::string logLine = "checkSendSmS(): Unable to read SMS DIR " + in("send") +
                                ", errno 2 (No such file or directory)";
    EXPECT_EQ(logCount(logLine), 1U);
    makeSmsDirs(root);
    inPass(eWORK_SMS, [&] { EXPECT_EQ(check(), eSUCCESS); });
    std::filesystem::remove_all(in("send"));
    inPass(eWORK_SMS, failing);
    EXPECT_EQ(logCount(logLine), 2U) << "and again the next time";
}

TEST_F(SmsSend, NotARegularFile_IsSkipped) {
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
TEST_F(SmsSend, FileThatAnotherDaemonSends_IsSkipped) {
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

TEST_F(SmsSend, FolderForSentFilesIsALink_FileIsDeletedAndNothingIsWrittenThere) {
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

TEST_F(SmsSend, HostileNamesWhoseMessageFails_EndInSendFail) {
    putSend("$(touch pwned) ;", "Hello");
    for (int i = 0; i < 3; ++i)
        checkRefused();
    EXPECT_TRUE(names("send").empty());
    ASSERT_EQ(names("send_fail").size(), 1U);
    EXPECT_EQ(names("send_fail")[0].substr(0, 17), "$(touch pwned) ;.");
}

TEST_F(SmsSend, SafeName_IsMovedByTheCommand) {
    // A stub in place of the command records how it was called.
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
