#include "cli/at/at_request.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <thread>

#include "tests/unit/cli/empty_host.h"

namespace {

class AtRequest : public testing::Test {
  protected:
    cEmptyHost host;
    const std::string requestPath = host.places.at("/tmp/at_cmd_in.2");
    const std::string answerPath = host.places.at("/tmp/at_cmd_out_raw.2");

    eExitStatus make() {
        return statusOf([&] { const cAtRequest request(host.places, 2, "AT\n", getuid()); });
    }
};

}  // namespace

TEST(AtRequestText, CommandAndExtraTime) {
    EXPECT_EQ("AT+CSQ\n", atRequest(" AT+CSQ ", 1));
    EXPECT_EQ("at+cops=?::30\n", atRequest("at+cops=?", 31));
    EXPECT_EQ(512u, atRequest("AT" + std::string(509, 'x'), 1).size());
}

TEST(AtRequestText, TextThatTheDaemonWouldChangeOrRefuse_IsRefused) {
    for (const std::string& command :
         {std::string(), std::string("CSQ"), std::string("AT\nAT+CFUN=4"), std::string("AT\x1a"),
          std::string("AT+CSQ::5"), std::string("AT\xC3\xA9"), "AT" + std::string(510, 'x')})
        EXPECT_EQ(eExitStatus::USAGE, statusOf([&] { atRequest(command, 1); })) << command;
}

TEST_F(AtRequest, IsWrittenCompleteForItsOwnerOnlyAndRemovedAtTheEnd) {
    {
        const cAtRequest request(host.places, 2, "AT+CGMI\n", getuid());
        EXPECT_EQ("AT+CGMI\n", readFile(requestPath));
        struct stat info {};
        lstat(requestPath.c_str(), &info);
        EXPECT_EQ(0600u, info.st_mode & 07777);
        EXPECT_EQ(1u, info.st_nlink);
        EXPECT_FALSE(request.isTaken());
    }
    EXPECT_FALSE(fileExists(requestPath));
}

TEST_F(AtRequest, RequestOfAnotherProgram_IsNotTouched) {
    writeFile(requestPath, "AT+OTHER\n");
    EXPECT_EQ(eExitStatus::FAILED, make());
    EXPECT_EQ("AT+OTHER\n", readFile(requestPath));
}

TEST_F(AtRequest, LinkFifoOrFolderInPlaceOfTheFile_IsNotFollowed) {
    const std::string precious = host.places.at("/tmp/precious");
    writeFile(precious, "precious");
    ASSERT_EQ(0, symlink(precious.c_str(), requestPath.c_str()));
    EXPECT_EQ(eExitStatus::FAILED, make());
    EXPECT_EQ("precious", readFile(precious));
    unlink(requestPath.c_str());
    // A dangling link: a file would be created at its target.
    ASSERT_EQ(0, symlink(host.places.at("/tmp/nothing").c_str(), requestPath.c_str()));
    EXPECT_EQ(eExitStatus::FAILED, make());
    EXPECT_FALSE(fileExists(host.places.at("/tmp/nothing")));
    unlink(requestPath.c_str());
    ASSERT_EQ(0, mkfifo(requestPath.c_str(), 0600));
    EXPECT_EQ(eExitStatus::FAILED, make());
    unlink(requestPath.c_str());
    ASSERT_EQ(0, mkdir(requestPath.c_str(), 0700));
    EXPECT_EQ(eExitStatus::FAILED, make());
}

TEST_F(AtRequest, OldAnswer_IsNotShownAsTheNewOne) {
    writeFile(answerPath, "old\n");
    const cAtRequest request(host.places, 2, "AT\n", getuid());
    std::string answer;
    EXPECT_FALSE(request.readAnswer(answer));
    unlink(requestPath.c_str());
    EXPECT_TRUE(request.isTaken());
    EXPECT_FALSE(request.readAnswer(answer));
    writeFile(answerPath + ".new", "new\n");
    rename((answerPath + ".new").c_str(), answerPath.c_str());
    ASSERT_TRUE(request.readAnswer(answer));
    EXPECT_EQ("new\n", answer);
}

TEST_F(AtRequest, AnswerOfAnotherUserOrThroughALink_DoesNotCount) {
    const cAtRequest request(host.places, 2, "AT\n", getuid() + 1);
    unlink(requestPath.c_str());
    writeFile(answerPath, "forged\n");
    std::string answer;
    EXPECT_FALSE(request.readAnswer(answer));
    const cAtRequest other(host.places, 2, "AT\n", getuid());
    unlink(requestPath.c_str());
    unlink(answerPath.c_str());
    writeFile(host.places.at("/tmp/forged"), "forged\n");
    ASSERT_EQ(0, symlink(host.places.at("/tmp/forged").c_str(), answerPath.c_str()));
    EXPECT_FALSE(other.readAnswer(answer));
}

TEST_F(AtRequest, RequestThatReplacedIt_IsNotRemoved) {
    {
        const cAtRequest request(host.places, 2, "AT\n", getuid());
        unlink(requestPath.c_str());
        writeFile(requestPath, "AT+OTHER\n");
        EXPECT_TRUE(request.isTaken());
    }
    EXPECT_EQ("AT+OTHER\n", readFile(requestPath));
}

TEST(AtAnswer, ShownWithoutEchoAndEmptyLines) {
    const std::string answer = "AT+CSQ\r\r\n+CSQ: 22,0\r\n\r\nOK\r\n\n";
    EXPECT_EQ("+CSQ: 22,0\nOK\n", atOutput(answer, "AT+CSQ"));
    EXPECT_EQ("x?[2J\n", atOutput("x\x1b[2J\r\n", "AT"));
}

TEST(AtAnswer, ResultByItsFinalLine) {
    EXPECT_EQ(eAtResult::OK, atResult("AT\r\r\nOK\r\n\n"));
    EXPECT_EQ(eAtResult::ERROR, atResult("AT\r\r\nERROR\r\n\n"));
    EXPECT_EQ(eAtResult::ERROR, atResult("AT\r\r\n+CME ERROR: 3\r\n\n"));
    EXPECT_EQ(eAtResult::ERROR, atResult("AT\r\r\n+CMS ERROR: operation not allowed\r\n\n"));
    EXPECT_EQ(eAtResult::TIMEOUT, atResult("AT\nTIMEOUT\n"));
    EXPECT_EQ(eAtResult::TIMEOUT, atResult(""));
}

TEST_F(AtRequest, CommandWithoutDaemon_WritesNothing) {
    const sCommandRun run = runOn(host, {"at", "AT"});
    EXPECT_EQ(eExitStatus::NO_DAEMON, run.status);
    EXPECT_FALSE(fileExists(requestPath));
}

TEST_F(AtRequest, CommandWithDaemonsOfTwoSlots_GoesToTheNamedSlot) {
    host.daemon(1, 101);
    host.daemon(2, 102);
    EXPECT_EQ(eExitStatus::USAGE, runOn(host, {"at", "AT"}).status);
    // Acts as the daemon of the slot when it sees its request.
    std::thread daemon([&] {
        while (!fileExists(requestPath))
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(fileExists(host.places.at("/tmp/at_cmd_in")));
        EXPECT_FALSE(fileExists(host.places.at("/tmp/at_cmd_in.1")));
        EXPECT_EQ("AT+CGMI\n", readFile(requestPath));
        unlink(requestPath.c_str());
        writeFile(answerPath + ".new", "AT+CGMI\r\r\nTelit\r\n\r\nOK\r\n\n");
        rename((answerPath + ".new").c_str(), answerPath.c_str());
    });
    const sCommandRun run = runOn(host, {"at", "AT+CGMI", "-p", "2"});
    daemon.join();
    EXPECT_EQ(eExitStatus::OK, run.status) << run.err;
    EXPECT_EQ("Telit\nOK\n", run.out);
}
