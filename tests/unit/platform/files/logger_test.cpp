#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <sstream>

#include "platform/include/logger.h"
#include "tests/support/captured_log.h"
#include "tests/support/temp_folder.h"

namespace {

const char FORMAT[] = "%m/%d/%Y %H:%M:%S";
// The content of a log with "<stamp>" for each time stamp, which must be of the last minute.
std::string readStamped(const std::string& path) {
    constexpr size_t LENGTH = sizeof "06/15/2020 20:32:05 " - 1;
    std::istringstream lines(readFile(path));
    std::string line;
    std::string result;
    while (std::getline(lines, line)) {
        struct tm local {};
        local.tm_isdst = -1;
        const char* end = strptime(line.c_str(), FORMAT, &local);
        const bool isStamped = end == line.c_str() + LENGTH - 1 && *end == ' ';
        if (isStamped) {
            EXPECT_NEAR(static_cast<double>(mktime(&local)), static_cast<double>(time(nullptr)), 60)
                << line;
        }
        result += (isStamped ? "<stamp>" + line.substr(LENGTH) : line) + "\n";
    }
    return result;
}

}  // namespace

TEST(Logger, Message_HasItsOwnLineWithATimeStamp) {
    const cTempFolder folder;
    cLogger logger;
    ASSERT_TRUE(logger.LogInit(folder / "log", 100, 1, FORMAT, true));
    EXPECT_TRUE(logger.Log("first"));
    EXPECT_TRUE(logger.Log(" "));
    EXPECT_EQ(readStamped(folder / "log"), "<stamp>first\n<stamp> \n");
}

TEST(Logger, NoTimestampThisMessage_HoldsForOneMessage) {
    const cTempFolder folder;
    cLogger logger;
    logger.LogInit(folder / "log", 100, 1, FORMAT, true);
    logger.NoTimestampThisMessage();
    logger.Log("bare");
    logger.Log("stamped");
    EXPECT_EQ(readStamped(folder / "log"), "bare\n<stamp>stamped\n");
}

TEST(Logger, DontModifyThisMessage_HoldsForOneMessage) {
    const cTempFolder folder;
    cLogger logger;
    logger.LogInit(folder / "log", 100, 1, FORMAT, false);
    logger.DontModifyThisMessage();
    logger.Log("\nDevice: x\r\n\x7F\x01");
    logger.Log("\nforged\r\n\x7F\x01\xC3\xA4");
    EXPECT_EQ(readFile(folder / "log"), "\nDevice: x\r\n\x7F\x01\n forged    \xC3\xA4\n");
}

TEST(Logger, WithoutTimestamps_NothingIsPutBefore) {
    const cTempFolder folder;
    cLogger logger;
    logger.LogInit(folder / "log", 100, 1, FORMAT, false);
    logger.Log("text");
    EXPECT_EQ(readFile(folder / "log"), "text\n");
}

TEST(Logger, FullLogThatCannotBeEmptied_IsReportedAndLosesTheMessage) {
    const cTempFolder folder;
    const std::string path = folder / "log";
    cLogger logger;
    ASSERT_TRUE(logger.LogInit(path, 0, 0, FORMAT, false));
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    clearCapturedLog();
    EXPECT_FALSE(logger.Log("lost"));
    EXPECT_EQ(logCount("Error: Cannot empty log " + path + ", errno 21 (Is a directory)"), 1u);
}

TEST(Logger, ExistingFile_GrowsAcrossObjects) {
    const cTempFolder folder;
    for (const char* text : {"one", "two"}) {
        cLogger logger;
        logger.LogInit(folder / "log", 100, 1, FORMAT, false);
        logger.Log(text);
    }
    EXPECT_EQ(readFile(folder / "log"), "one\ntwo\n");
}

TEST(Logger, MissingFolder_IsMade) {
    const cTempFolder folder;
    cLogger logger;
    EXPECT_TRUE(logger.LogInit(folder / "a/b//log", 100, 1, FORMAT, false));
    EXPECT_TRUE(logger.Log("text"));
    EXPECT_EQ(readFile(folder / "a/b/log"), "text\n");
}

TEST(Logger, NewFile_IsForItsOwnerOnly) {
    const cTempFolder folder;
    cLogger logger;
    logger.LogInit(folder / "log", 100, 1, FORMAT, false);
    struct stat status {};
    ASSERT_EQ(stat((folder / "log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600u);
}

TEST(Logger, FullFile_IsRotatedBeforeTheMessage) {
    const cTempFolder folder;
    const std::string path = folder / "log";
    cLogger logger;
    logger.LogInit(path, 1, 2, FORMAT, false);
    const std::string half(511, 'a');  // 512 bytes with its line end
    logger.Log(half);
    logger.Log(half);
    EXPECT_FALSE(fileExists(path + ".1"));  // exactly 1 kB fits
    logger.Log("second");
    EXPECT_EQ(readFile(path), "second\n");
    EXPECT_EQ(readFile(path + ".1"), half + "\n" + half + "\n");
    logger.Log(std::string(1020, 'b'));
    logger.Log("third");
    EXPECT_EQ(readFile(path), "third\n");
    EXPECT_EQ(readFile(path + ".1"), std::string(1020, 'b') + "\n");
    EXPECT_EQ(readFile(path + ".2"), "second\n");
    EXPECT_FALSE(fileExists(path + ".3"));
}

TEST(Logger, ManyMessages_StayWithinTheirBound) {
    const cTempFolder folder;
    const std::string path = folder / "log";
    cLogger logger;
    for (int i = 0; i < 2000; i++) {
        logger.LogInit(path, 2, 1, FORMAT, true);
        ASSERT_TRUE(logger.Log("message " + std::to_string(i)));
        ASSERT_LE(readFile(path).size(), 2048u);
    }
    EXPECT_LE(readFile(path + ".1").size(), 2048u);
    EXPECT_FALSE(fileExists(path + ".2"));
    EXPECT_NE(readFile(path).find("message 1999\n"), std::string::npos);
}

TEST(Logger, NoOldFiles_FullFileIsEmptied) {
    const cTempFolder folder;
    cLogger logger;
    logger.LogInit(folder / "log", 1, 0, FORMAT, false);
    logger.Log(std::string(1020, 'a'));
    logger.Log("next");
    EXPECT_EQ(readFile(folder / "log"), "next\n");
    EXPECT_FALSE(fileExists(folder / "log.1"));
}

TEST(Logger, LinkOrFifoInPlaceOfTheFile_IsRefusedWithACause) {
    const cTempFolder folder;
    writeFile(folder / "victim", "untouched");
    ASSERT_EQ(symlink("victim", (folder / "link").c_str()), 0);
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    for (const std::string& path : {folder / "link", folder / "fifo", folder.path()}) {
        clearCapturedLog();
        cLogger logger;
        EXPECT_FALSE(logger.LogInit(path, 100, 1, FORMAT, false)) << path;
        EXPECT_TRUE(logContains("Error: Cannot open log " + path + ", errno ")) << path;
        EXPECT_FALSE(logger.Log("text")) << path;
        EXPECT_TRUE(logContains("Error: Cannot write log " + path + ", errno ")) << path;
    }
    EXPECT_EQ(readFile(folder / "victim"), "untouched");
}

TEST(Logger, FifoThatSomebodyReads_GetsNothing) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const int reader = open((folder / "fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_NE(reader, -1);
    cLogger logger;
    EXPECT_FALSE(logger.LogInit(folder / "fifo", 100, 1, FORMAT, false));
    EXPECT_FALSE(logger.Log("text"));
    char byte;
    EXPECT_EQ(read(reader, &byte, 1), 0) << "nothing was written";
    close(reader);
}

TEST(Logger, OldFileThatCannotBeReplaced_IsReportedWithItsCause) {
    const cTempFolder folder;
    writeFile(folder / "log", std::string(2048, 'x'));
    ASSERT_EQ(mkdir((folder / "log.1").c_str(), 0700), 0);
    cLogger logger;
    ASSERT_TRUE(logger.LogInit(folder / "log", 1, 1, FORMAT, false));
    clearCapturedLog();
    logger.Log("text");
    EXPECT_TRUE(logContains("Error: Cannot put aside log " + (folder / "log") + ", errno "));
}

TEST(Logger, NotInitialised_FailsWithoutHarm) {
    clearCapturedLog();
    cLogger logger;
    EXPECT_FALSE(logger.Log("text"));
    EXPECT_TRUE(logContains("errno 2 (No such file or directory)"));
}
