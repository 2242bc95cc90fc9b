#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "include/sleep.h"
#include "include/utilities.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

namespace {

bool isFolder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

unsigned g_slept;

void countSleep(unsigned microseconds) {
    g_slept += microseconds;
}

// The requests to the system.
struct sSystemSleep {
    clockid_t clock = -1;
    int flags = -1;
    timespec wait{};
};

sSystemSleep g_systemSleep;

}  // namespace

// The linker replaces the C library's function by this one.
extern "C" int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* wait, timespec*);
extern "C" int __wrap_clock_nanosleep(clockid_t clock, int flags, const timespec* wait, timespec*) {
    g_systemSleep = {clock, flags, *wait};
    return 0;
}

TEST(Mkdir, PathUnderExistingFolder_CreatesEachMissingFolder) {
    const cTempFolder folder;
    const std::string path = folder / "sms/recv/";
    EXPECT_EQ(_mkdir(path), 0);
    EXPECT_TRUE(isFolder(folder / "sms/recv"));
    struct stat info;
    ASSERT_EQ(stat((folder / "sms").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0700u);
    EXPECT_EQ(_mkdir(path), 0) << "all there already";
    EXPECT_EQ(_mkdir(folder / "sms//send"), 0);
    EXPECT_TRUE(isFolder(folder / "sms/send"));
}

TEST(Mkdir, FirstComponent_IsNeverCreated) {
    EXPECT_EQ(_mkdir("/tmp"), -1);
    EXPECT_EQ(_mkdir("/tmp/"), -1);
    EXPECT_TRUE(isFolder("/tmp"));

    const cTempFolder folder;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(folder.path());
    EXPECT_EQ(_mkdir("none"), -1);
    EXPECT_EQ(_mkdir("none/"), -1);
    EXPECT_EQ(_mkdir("none/sub"), -1) << "its first component is missing";
    EXPECT_FALSE(isFolder("none"));
    ASSERT_EQ(mkdir("first", 0700), 0);
    EXPECT_EQ(_mkdir("first/second/third"), 0);
    EXPECT_TRUE(isFolder("first/second/third"));
    std::filesystem::current_path(before);
}

TEST(Mkdir, EmptyPathAndRoot_Fail) {
    EXPECT_EQ(_mkdir(""), -1);
    EXPECT_EQ(_mkdir("/"), -1);
}

TEST(Mkdir, FileInTheWay_StopsThere) {
    const cTempFolder folder;
    writeFile(folder / "file", "");
    EXPECT_EQ(_mkdir(folder / "file"), -1);
    EXPECT_EQ(_mkdir(folder / "file/sub"), -1);
    EXPECT_EQ(_mkdir(folder / "file/"), -1);
}

TEST(ReadFilesInDir, Folder_NamesWithoutDots) {
    const cTempFolder folder;
    writeFile(folder / "a", "");
    writeFile(folder / ".hidden", "");
    ASSERT_EQ(_mkdir(folder / "sub"), 0);
    std::vector<std::string> names = {"before"};
    EXPECT_EQ(readFilesInDir(folder.path(), names), 0);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{".hidden", "a", "sub"}));
}

// The order decides which message is sent first.
TEST(ReadFilesInDir, Names_ComeInTheOrderOfTheSystem) {
    const cTempFolder folder;
    for (const char* name : {"m", "z", "a", "q", "b"})
        writeFile(folder / name, "");
    std::vector<std::string> listed;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        listed.push_back(entry.path().filename());
    std::vector<std::string> names;
    EXPECT_EQ(readFilesInDir(folder.path(), names), 0);
    EXPECT_EQ(names, listed);
    EXPECT_EQ(names.size(), 5u);
}

TEST(ReadFilesInDir, NoFolder_GivesErrnoAndNoNames) {
    const cTempFolder folder;
    const cLogMode mode(eLOG_MAIN);
    std::vector<std::string> names = {"before"};
    const std::string path = folder / "none";
    EXPECT_EQ(readFilesInDir(path, names), ENOENT);
    EXPECT_TRUE(names.empty());
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"DEBUG: DEBUG: Error opening read directory " + path +
                                       ", errno " + "2 (" + strerror(ENOENT) + ")"});
    writeFile(folder / "file", "");
    EXPECT_EQ(readFilesInDir(folder / "file", names), ENOTDIR);
}

TEST(StringIsHex, Texts) {
    const struct {
        const char* text;
        bool isHex;
    } cases[] = {
        {"0123456789abcdefABCDEF", true},
        {"0xFF", true},
        {"FF", true},
        {"0", true},
        {"0x", false},
        {"", false},
        {"0XFF", false},
        {"0x0x1", false},
        {"fg", false},
        {" ff", false},
        {"ff ", false},
        {"-1", false},
        {"x", false},
    };
    for (const auto& row : cases)
        EXPECT_EQ(stringIsHex(row.text), row.isHex) << "'" << row.text << "'";
}

TEST(FormatConnectTime, Seconds) {
    const struct {
        int seconds;
        const char* text;
    } cases[] = {
        {0, "N/A"},
        {-1, "N/A"},
        {-2147483647 - 1, "N/A"},
        {1, "0D 0H 0M 1S"},
        {59, "0D 0H 0M 59S"},
        {60, "0D 0H 1M 0S"},
        {3599, "0D 0H 59M 59S"},
        {86399, "0D 23H 59M 59S"},
        {90061, "1D 1H 1M 1S"},
        {2147483647, "24855D 3H 14M 7S"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(formatConnectTime(row.seconds), row.text);
}

// Test suite of RFC 1321.
TEST(GetMd5, Texts_LowerCaseDigest) {
    EXPECT_EQ(getMd5(""), "d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(getMd5("abc"), "900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(getMd5("message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
    EXPECT_NE(getMd5(std::string("a\0b", 3)), getMd5("a"));
}

TEST(IsInterfaceName, Texts) {
    for (const char* name : {"wwan0", "a", "eth0.100", "br-lan", "x_y:z@w", "fifteen-letters"})
        EXPECT_TRUE(isInterfaceName(name)) << name;
    for (const char* name :
         {"", ".", "..", "-i", "a/b", "a b", "a;b", "$a", "sixteen--letters", "\xc3\xa4"})
        EXPECT_FALSE(isInterfaceName(name)) << name;
}

TEST(BlankControlCharacters, ForgedLine_BecomesOneLine) {
    EXPECT_EQ(blankControlCharacters("a\r\nPIN=1\x1b\x7f\xc3\xa4"), "a  PIN=1  \xc3\xa4");
}

TEST(SleepMicroseconds, FunctionSet_IsCalledInsteadOfSleeping) {
    g_slept = 0;
    setSleepFunction(countSleep);
    sleepMicroseconds(2000000000);
    setSleepFunction(nullptr);
    EXPECT_EQ(g_slept, 2000000000u);
    sleepMicroseconds(1);
    EXPECT_EQ(g_slept, 2000000000u);
}

TEST(SleepMicroseconds, NoFunctionSet_CallsTheSystemsSleep) {
    sleepMicroseconds(4000000010);
    EXPECT_EQ(g_systemSleep.clock, CLOCK_MONOTONIC);
    EXPECT_EQ(g_systemSleep.flags, 0);
    EXPECT_EQ(g_systemSleep.wait.tv_sec, 4000);
    EXPECT_EQ(g_systemSleep.wait.tv_nsec, 10000);
    sleepMicroseconds(999999);
    EXPECT_EQ(g_systemSleep.wait.tv_sec, 0);
    EXPECT_EQ(g_systemSleep.wait.tv_nsec, 999999000);
}
