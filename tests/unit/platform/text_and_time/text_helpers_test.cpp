#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#include "platform/include/text_helpers.h"
#include "tests/support/temp_folder.h"

namespace {

using tChange = std::string (*)(const std::string&);

void expectChanges(tChange change, const std::vector<std::pair<std::string, std::string>>& cases) {
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(change(text), expected) << text;
    }
}

constexpr size_t NO_LIMIT = 1 << 20;

}  // namespace

TEST(FindNeedleString, Cases) {
    struct sCase {
        std::string text, needle, terminator, expected;
    };
    const sCase cases[] = {
        {"AT+CSQ\r\r\n+CSQ: 20,99\r\n\r\nOK\r\n", "+CSQ:", "\n", " 20,99\r"},
        {"+CME ERROR: 16", "+CME ERROR:", "\n", " 16"},  // no terminator: the rest
        {"+A: 1\n+A: 2\n", "+A:", "\n", " 1"},           // the first one counts
        {"+A:\n", "+A:", "\n", ""},
        {"+A:", "+A:", "\n", ""},
        {"nothing", "+A:", "\n", ""},
        {"", "+A:", "\n", ""},
        {"+A", "+A:", "\n", ""},
        {"a::b::c", "a::", "::", "b"},
        {"text", "", "x", "te"},
        {"text", "te", "", "xt"},
    };
    for (const sCase& testCase : cases) {
        EXPECT_EQ(findNeedleString(testCase.text, testCase.needle, testCase.terminator),
                  testCase.expected)
            << testCase.text;
    }
}

TEST(CleanWhiteSpace, RemovesAllOfIt) {
    expectChanges(cleanWhiteSpace, {{" \t1 2\n3\v\f\r", "123"},
                                    {"", ""},
                                    {" \r\n", ""},
                                    {"abc", "abc"},
                                    {"\xC2\xA0x", "\xC2\xA0x"}});
}

TEST(CleanBeginEndWhiteSpace, KeepsWhatIsInside) {
    expectChanges(
        cleanBeginEndWhiteSpace,
        {{" \t a b \r\n", "a b"}, {"", ""}, {" \v\f", ""}, {"a", "a"}, {" a", "a"}, {"a ", "a"}});
}

TEST(CleanEndWhiteSpace, KeepsTheBeginning) {
    expectChanges(cleanEndWhiteSpace, {{" a b \r\n", " a b"}, {"", ""}, {" \r\n", ""}, {"a", "a"}});
}

TEST(CleanCharsFromString, RemovesEachOfThem) {
    EXPECT_EQ(cleanCharsFromString("\"a\",'b'", "\"'"), "a,b");
    EXPECT_EQ(cleanCharsFromString("abc", ""), "abc");
    EXPECT_EQ(cleanCharsFromString("", "abc"), "");
    EXPECT_EQ(cleanCharsFromString("aaa", "a"), "");
}

TEST(CleanNonNumeric, KeepsDigitsOnly) {
    expectChanges(cleanNonNumeric,
                  {{"+1 (415) 555-0100", "14155550100"}, {"-3", "3"}, {"", ""}, {"abc", ""}});
}

TEST(StringLowerAndUpper, ChangeAsciiLettersOnly) {
    expectChanges(stringLower, {{"AZaz09-\xC4", "azaz09-\xC4"}, {"", ""}, {"@[", "@["}});
    expectChanges(stringUpper, {{"AZaz09-\xE4", "AZAZ09-\xE4"}, {"", ""}, {"`{", "`{"}});
}

TEST(StartsWith, Cases) {
    EXPECT_TRUE(startsWith("+CREG: 1", "+CREG:"));
    EXPECT_TRUE(startsWith("abc", ""));
    EXPECT_TRUE(startsWith("abc", "abc"));
    EXPECT_TRUE(startsWith("", ""));
    EXPECT_FALSE(startsWith("abc", "abcd"));
    EXPECT_FALSE(startsWith("abc", "b"));
    EXPECT_FALSE(startsWith("", "a"));
}

TEST(IsStringNumericAndIsNumericValue, Cases) {
    struct sCase {
        std::string text;
        bool isString, isValue;
    };
    const sCase cases[] = {
        {"0", true, true},     {"0123456789", true, true}, {"99999999999999999999", true, true},
        {"", false, false},    {" 1", false, false},       {"1 ", false, false},
        {"+1", false, true},   {"-40", false, true},       {"+", false, false},
        {"-", false, false},   {"--1", false, false},      {"+-1", false, false},
        {"1.5", false, false}, {"1a", false, false},       {"0x1", false, false},
        {"1\r", false, false}, {"\xC2\xB2", false, false}, {std::string("1\0", 2), false, false},
    };
    for (const sCase& testCase : cases) {
        EXPECT_EQ(isStringNumeric(testCase.text), testCase.isString) << testCase.text;
        EXPECT_EQ(isNumericValue(testCase.text), testCase.isValue) << testCase.text;
    }
}

TEST(ItosAndLtos, WriteDecimal) {
    EXPECT_EQ(itos(0), "0");
    EXPECT_EQ(itos(INT_MIN), "-2147483648");
    EXPECT_EQ(ltos(LLONG_MAX), "9223372036854775807");
    EXPECT_EQ(ltos(LLONG_MIN), "-9223372036854775808");
}

TEST(TextToIntAndTextToLong, Cases) {
    struct sCase {
        std::string text;
        int asInt;
        long long asLong;
    };
    const sCase cases[] = {
        {"", 0, 0},
        {" ", 0, 0},
        {"-", 0, 0},
        {"+", 0, 0},
        {"abc", 0, 0},
        {"12", 12, 12},
        {" \t\n+12abc", 12, 12},
        {"-40", -40, -40},
        {"- 4", 0, 0},
        {"1,2", 1, 1},
        {"007", 7, 7},
        {"0x1F", 0, 0},
        {"2147483647", INT_MAX, 2147483647},
        {"2147483648", INT_MAX, 2147483648},
        {"-2147483648", INT_MIN, -2147483648LL},
        {"-2147483649", INT_MIN, -2147483649LL},
        {"9223372036854775807", INT_MAX, LLONG_MAX},
        {"9223372036854775808", INT_MAX, LLONG_MAX},
        {"-9223372036854775808", INT_MIN, LLONG_MIN},
        {"-9223372036854775809", INT_MIN, LLONG_MIN},
        {std::string(10'000, '9'), INT_MAX, LLONG_MAX},
        {"-" + std::string(10'000, '9'), INT_MIN, LLONG_MIN},
        {std::string(10'000, '0') + "5", 5, 5},
    };
    for (const sCase& testCase : cases) {
        EXPECT_EQ(textToInt(testCase.text), testCase.asInt) << testCase.text;
        EXPECT_EQ(textToLong(testCase.text), testCase.asLong) << testCase.text;
    }
}

TEST(StringHexToStringDecimal, Cases) {
    expectChanges(stringHexToStringDecimal, {{"0", "0"},
                                             {"1C40A0B", "29624843"},
                                             {"ff", "255"},
                                             {"FFFFFFFFFFFFFFFF", "18446744073709551615"},
                                             {"00000000000000001", ""},
                                             {"10000000000000000", ""},
                                             {"", ""},
                                             {"0x1F", ""},
                                             {"1G", ""},
                                             {" 1", ""},
                                             {"-1", ""}});
}

TEST(ReadFile2String, RegularFile_IsReadWhole) {
    const cTempFolder folder;
    const std::string content = std::string("a\0b\r\n", 5) + std::string(20'000, 'x');
    writeFile(folder / "file", content);
    std::string text = "old";
    EXPECT_TRUE(readFile2String(folder / "file", text, NO_LIMIT));
    EXPECT_EQ(text, content);
}

TEST(ReadFile2String, EmptyFile_IsReadAsEmptyText) {
    const cTempFolder folder;
    writeFile(folder / "file", "");
    std::string text = "old";
    EXPECT_TRUE(readFile2String(folder / "file", text, NO_LIMIT));
    EXPECT_EQ(text, "");
}

TEST(ReadFile2String, LongFile_IsCut) {
    const cTempFolder folder;
    writeFile(folder / "file", "0123456789");
    std::string text;
    for (const size_t limit : {0u, 1u, 9u, 10u, 11u}) {
        EXPECT_TRUE(readFile2String(folder / "file", text, limit));
        EXPECT_EQ(text, std::string("0123456789").substr(0, limit));
    }
}

TEST(ReadFile2String, FileOfTheKernel_IsReadWhateverItsReportedSize) {
    std::string text;
    ASSERT_TRUE(readFile2String("/proc/self/stat", text, NO_LIMIT));  // stat says 0 bytes
    EXPECT_EQ(text.substr(0, text.find(' ')), std::to_string(getpid()));
    ASSERT_TRUE(readFile2String("/sys/class/net/lo/mtu", text, 100));  // stat says 4096 bytes
    EXPECT_TRUE(isStringNumeric(cleanWhiteSpace(text))) << text;
}

TEST(ReadFile2String, NotARegularFile_IsRefusedAtOnceWithACause) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    ASSERT_EQ(symlink("nowhere", (folder / "dangling").c_str()), 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (folder / "socket").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    const std::pair<std::string, int> cases[] = {
        {folder / "missing", ENOENT},
        {folder / "dangling", ENOENT},
        {folder.path(), EISDIR},
        {folder / "fifo", EINVAL},
        {"/dev/zero", EINVAL},
        {folder / "socket", ENXIO},
        {"", ENOENT},
    };
    for (const auto& [path, error] : cases) {
        std::string text = "old";
        errno = 0;
        EXPECT_FALSE(readFile2String(path, text, NO_LIMIT)) << path;
        EXPECT_EQ(errno, error) << path;
        EXPECT_EQ(text, "") << path;
    }
    close(listening);
}

// The first page of a process is never mapped.
TEST(ReadFile2String, FileThatCannotBeRead_IsAFailureWithItsCause) {
    std::string text = "before";
    EXPECT_FALSE(readFile2String("/proc/self/mem", text, 100));
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(text, "");
}

TEST(ReadFile2String, Link_IsFollowedOnlyIfAllowed) {
    const cTempFolder folder;
    writeFile(folder / "file", "content");
    ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
    std::string text;
    EXPECT_TRUE(readFile2String(folder / "link", text, NO_LIMIT));
    EXPECT_EQ(text, "content");
    EXPECT_FALSE(readFile2StringNoFollow(folder / "link", text, NO_LIMIT));
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(text, "");
    EXPECT_TRUE(readFile2StringNoFollow(folder / "file", text, NO_LIMIT));
    EXPECT_EQ(text, "content");
}

TEST(ReadFile2String, Refusals_LeaveNoDescriptorOpen) {
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    const int lowest = dup(0);
    close(lowest);
    std::string text;
    for (int i = 0; i < 5; i++) {
        readFile2String(folder / "fifo", text, NO_LIMIT);
    }
    const int lowestAfter = dup(0);
    close(lowestAfter);
    EXPECT_EQ(lowestAfter, lowest);
}
