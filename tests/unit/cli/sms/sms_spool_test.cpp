#include "cli/sms/sms_spool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "include/utilities.h"
#include "tests/unit/cli/empty_host.h"

namespace {

class SmsSpool : public testing::Test {
  protected:
    SmsSpool() {
        for (const char* folder : {"/tmp/sms", "/tmp/sms/send", "/tmp/sms/send_ok",
                                   "/tmp/sms/send_fail", "/tmp/sms/recv"})
            host.folderAt(folder, 0700);
    }

    std::vector<std::string> namesIn(const std::string& folder) const {
        std::vector<std::string> names;
        readFilesInDir(host.places.at(folder), names);
        return names;
    }

    cEmptyHost host;
};

}  // namespace

TEST(SmsNumber, NumberInAnyUsualForm_IsReducedToTheFormOfTheDaemon) {
    EXPECT_EQ("+12025550123", smsNumber("+1 (202) 555-0123"));
    EXPECT_EQ("72345", smsNumber("72345"));
    EXPECT_EQ("12345678901234567890", smsNumber("12345678901234567890"));
}

TEST(SmsNumber, InvalidNumber_IsRefused) {
    for (const char* number : {"", "1234", "123456789012345678901", "12a45", "1234+5", "++12345",
                               "12345\n", "12345;ls", "TO=12345"})
        EXPECT_EQ(eExitStatus::USAGE, statusOf([&] { smsNumber(number); })) << number;
}

TEST(SmsText, Text_IsTrimmedAtTheEndAndLimited) {
    EXPECT_EQ("a\nb", smsText("a\nb \n\n"));
    EXPECT_EQ(std::string(918, 'x'), smsText(std::string(918, 'x')));
    for (const std::string& text : {std::string(), std::string(" \n"), std::string(919, 'x')})
        EXPECT_EQ(eExitStatus::USAGE, statusOf([&] { smsText(text); })) << text.size();
}

TEST(SmsText, TextWithCharactersThatTheDaemonWouldReplace_IsRefused) {
    for (const char* text : {"caf\xC3\xA9", "`", "a\x1b[2J", "a\tb", "a\rb", "a\x1a"})
        EXPECT_EQ(eExitStatus::USAGE, statusOf([&] { smsText(text); })) << text;
}

TEST_F(SmsSpool, PutMessage_IsOneCompleteFileForItsOwnerOnly) {
    const std::string name = putMessage(host.places, "+12025550123", "MSG=TO=1\nx");
    EXPECT_EQ(std::vector<std::string>{name}, namesIn("/tmp/sms/send"));
    const std::string path = host.places.at("/tmp/sms/send/" + name);
    EXPECT_EQ("TO=+12025550123\nMSG=MSG=TO=1\nx\n", readFile(path));
    struct stat info {};
    stat(path.c_str(), &info);
    EXPECT_EQ(0600u, info.st_mode & 07777);
    // The draft was removed.
    EXPECT_EQ(4u, namesIn("/tmp/sms").size());
    EXPECT_NE(name, putMessage(host.places, "12345", "x"));
}

// /tmp/sms/send may be a separate file system.
TEST_F(SmsSpool, PutMessage_NeedsOnlyTheFolderOfMessagesToSend) {
    const std::string root = host.places.at("/tmp/sms");
    struct stat before {};
    stat(root.c_str(), &before);
    putMessage(host.places, "12345", "x");
    struct stat after {};
    stat(root.c_str(), &after);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec) << "nothing was made in it";
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
}

TEST_F(SmsSpool, LinkInPlaceOfAFolder_IsNotFollowed) {
    host.folderAt("/tmp/elsewhere", 0700);
    for (const char* folder : {"/tmp/sms/send", "/tmp/sms/recv"}) {
        rmdir(host.places.at(folder).c_str());
        ASSERT_EQ(
            0, symlink(host.places.at("/tmp/elsewhere").c_str(), host.places.at(folder).c_str()));
    }
    EXPECT_EQ(eExitStatus::FAILED, statusOf([&] { putMessage(host.places, "12345", "x"); }));
    EXPECT_EQ(eExitStatus::FAILED, statusOf([&] { receivedMessages(host.places); }));
    EXPECT_EQ(std::vector<std::string>{}, namesIn("/tmp/elsewhere"));
}

TEST_F(SmsSpool, NoSpool_TheDaemonIsMissing) {
    const cEmptyHost empty;
    EXPECT_EQ(eExitStatus::NO_DAEMON, statusOf([&] { putMessage(empty.places, "12345", "x"); }));
}

TEST_F(SmsSpool, SendState_ByTheFolderTheFileIsIn) {
    EXPECT_EQ(eSendState::REFUSED, sendState(host.places, "m"));
    host.file("/tmp/sms/send_fail/m.20260101-000000", "");
    EXPECT_EQ(eSendState::GIVEN_UP, sendState(host.places, "m"));
    host.file("/tmp/sms/send_ok/m.20260101-000000", "");
    EXPECT_EQ(eSendState::SENT, sendState(host.places, "m"));
    // The name of another message has the same beginning.
    EXPECT_EQ(eSendState::REFUSED, sendState(host.places, "m.2026"));
    host.file("/tmp/sms/send/m", "");
    EXPECT_EQ(eSendState::WAITING, sendState(host.places, "m"));
}

TEST_F(SmsSpool, ReceivedMessages_OldestFirstAndOtherFilesSkipped) {
    host.file("/tmp/sms/recv/b", "FROM=+1202\nTIME=2020-06-15 20:32:05\nMSG=one\nFROM=x\nMSG=y");
    host.file("/tmp/sms/recv/a", "TIME=t\r\nFROM=\xe9\nMSG=");
    host.file("/tmp/sms/recv/.cellslot-tmp-abcdef", "FROM=1\nTI");
    host.folderAt("/tmp/sms/recv/folder");
    ASSERT_EQ(0, mkfifo(host.places.at("/tmp/sms/recv/fifo").c_str(), 0600));
    ASSERT_EQ(0, symlink("/etc/passwd", host.places.at("/tmp/sms/recv/link").c_str()));
    const timespec older[2] = {{1000, 0}, {1000, 0}};
    utimensat(AT_FDCWD, host.places.at("/tmp/sms/recv/b").c_str(), older, 0);
    const std::vector<sReceivedMessage> messages = receivedMessages(host.places);
    ASSERT_EQ(2u, messages.size());
    EXPECT_EQ("b", messages[0].file);
    EXPECT_EQ("+1202", messages[0].from);
    EXPECT_EQ("2020-06-15 20:32:05", messages[0].time);
    EXPECT_EQ("one\nFROM=x\nMSG=y", messages[0].text);
    EXPECT_EQ("", messages[1].text);
    deleteReceived(host.places, "b");
    deleteReceived(host.places, "b");
    EXPECT_EQ(1u, receivedMessages(host.places).size());
}

TEST_F(SmsSpool, ReadCommand_ShowsByNumberAndKeepsTheTerminalSafe) {
    host.file("/tmp/sms/recv/m1", "FROM=Evil\x1b[2J\nTIME=t\nMSG=a\x1b]0;x\x07 \xE2\x82\xAC");
    const sCommandRun run = runOn(host, {"sms", "read", "1"});
    EXPECT_EQ(eExitStatus::OK, run.status) << run.err;
    EXPECT_EQ("File: m1\nFrom: Evil?[2J\nTime: t\n\na?]0;x? \xE2\x82\xAC\n", run.out);
    EXPECT_EQ(eExitStatus::FAILED, runOn(host, {"sms", "read", "2"}).status);
    EXPECT_EQ(eExitStatus::FAILED, runOn(host, {"sms", "read", "../send/x"}).status);
}

TEST_F(SmsSpool, ListCommand_ManyLongMessages_StayInTheirColumns) {
    const std::string longText(200, 'x');
    for (int i = 1; i <= 10; ++i) {
        const std::string file = "/tmp/sms/recv/m" + std::to_string(i);
        host.file(file, "FROM=+12025550145\nTIME=2026-11-21 10:00:0" + std::to_string(i % 10) +
                            "\nMSG=" + (i == 10 ? longText : "one\ntwo"));
        const timespec times[2] = {{1000 + i, 0}, {1000 + i, 0}};
        utimensat(AT_FDCWD, host.places.at(file).c_str(), times, 0);
    }
    const sCommandRun run = runOn(host, {"sms", "list"});
    EXPECT_EQ(eExitStatus::OK, run.status) << run.err;
    EXPECT_EQ(0u, run.out.find("1   2026-11-21 10:00:01  +12025550145          one two\n"))
        << run.out;
    EXPECT_NE(std::string::npos,
              run.out.find("\n10  2026-11-21 10:00:00  +12025550145          xxx"))
        << run.out;
    EXPECT_EQ("xxx~\n", run.out.substr(run.out.size() - 5));
    EXPECT_EQ(80u, run.out.size() - run.out.rfind('\n', run.out.size() - 2) - 1);
}

TEST_F(SmsSpool, WaitCommand_WithoutDaemon_DoesNotWait) {
    EXPECT_EQ(eExitStatus::NO_DAEMON, runOn(host, {"sms", "wait"}).status);
}

TEST_F(SmsSpool, ReadCommand_ThatCannotShowIt_DeletesNothing) {
    host.file("/tmp/sms/recv/m1", "FROM=+1202\nTIME=t\nMSG=x");
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    out.setstate(std::ios::badbit);
    sCliContext context{host.places, in, out};
    const char* const words[] = {"cellslot", "sms", "read", "-d"};
    EXPECT_EQ(eExitStatus::FAILED, runCellslot(4, words, context, err));
    EXPECT_EQ("cellslot: cannot write the output; check the free disk space\n", err.str());
    EXPECT_EQ(1u, namesIn("/tmp/sms/recv").size());
}

TEST_F(SmsSpool, SendCommand_WithoutDaemon_WritesNothing) {
    const sCommandRun run = runOn(host, {"sms", "send", "12345", "x"});
    EXPECT_EQ(eExitStatus::NO_DAEMON, run.status);
    EXPECT_EQ(std::vector<std::string>{}, namesIn("/tmp/sms/send"));
}

TEST_F(SmsSpool, SendCommand_TextFromStandardInput) {
    host.daemon(1, 42);
    const sCommandRun run = runOn(host, {"sms", "send", "12345", "-"}, "two\nlines\n");
    EXPECT_EQ(eExitStatus::OK, run.status) << run.err;
    const std::vector<std::string> names = namesIn("/tmp/sms/send");
    ASSERT_EQ(1u, names.size());
    EXPECT_EQ("TO=12345\nMSG=two\nlines\n",
              readFile(host.places.at("/tmp/sms/send/" + names.front())));
}

TEST_F(SmsSpool, SendCommand_InputWithoutEnd_IsNotReadToItsEnd) {
    std::istringstream in(std::string(1000000, 'x'));
    std::ostringstream out;
    std::ostringstream err;
    sCliContext context{host.places, in, out};
    const char* const words[] = {"cellslot", "sms", "send", "12345", "-"};
    EXPECT_EQ(eExitStatus::USAGE, runCellslot(5, words, context, err));
    EXPECT_GT(in.rdbuf()->in_avail(), 900000) << "what is left of it";
}

TEST_F(SmsSpool, SendCommand_StillWaiting_ShowsWhyFromTheStatus) {
    host.daemon(1, 42);
    host.status(1, {{"CREG_REGISTERED", "0"}});
    const sCommandRun run = runOn(host, {"sms", "send", "12345", "x", "-w", "--timeout", "0"});
    EXPECT_EQ(eExitStatus::TIMED_OUT, run.status);
    EXPECT_NE(std::string::npos, run.err.find("not registered")) << run.err;
}
