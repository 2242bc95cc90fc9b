#include <gtest/gtest.h>

#include <vector>

#include "include/debug.h"
#include "main/command_line.h"

namespace {

struct sParsed {
    bool mayStart;
    sOptionArgs options;
    uint64_t debugMode;
};

sParsed parse(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "cellslotd");
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    g_i_debugMode = 0;
    sParsed parsed{};
    testing::internal::CaptureStderr();  // getopt reports unknown options there
    parsed.mayStart = parseArgs(static_cast<int>(arguments.size()), argv.data(), parsed.options);
    testing::internal::GetCapturedStderr();
    parsed.debugMode = g_i_debugMode;
    g_i_debugMode = 0;
    return parsed;
}

std::vector<std::string> operator+(std::vector<std::string> first,
                                   const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

const std::vector<std::string> ALL_BUT_PORT = {"-d",           "/dev/ttyUSB2", "-g",
                                               "/dev/ttyUSB1", "-i",           "wwan0"};

}  // namespace

TEST(ParseArgs, AllFourOptions_FillsRecordAndMayStart) {
    const sParsed parsed = parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "2"});
    EXPECT_TRUE(parsed.mayStart);
    EXPECT_EQ(parsed.options.s_device, "/dev/ttyUSB2");
    EXPECT_EQ(parsed.options.s_gps_device, "/dev/ttyUSB1");
    EXPECT_EQ(parsed.options.s_interface, "wwan0");
    EXPECT_EQ(parsed.options.s_port, "2");
    EXPECT_EQ(parsed.debugMode, 0u);
}

TEST(ParseArgs, LongOptions_AreTheShortOnes) {
    const sParsed parsed = parse({"--device", "/dev/a", "--gps=/dev/b", "--interface", "wwan1",
                                  "--port", "3", "--Debug", "ff"});
    EXPECT_TRUE(parsed.mayStart);
    EXPECT_EQ(parsed.options.s_device, "/dev/a");
    EXPECT_EQ(parsed.options.s_gps_device, "/dev/b");
    EXPECT_EQ(parsed.options.s_interface, "wwan1");
    EXPECT_EQ(parsed.options.s_port, "3");
    EXPECT_EQ(parsed.debugMode, 0xffu);
    EXPECT_FALSE(parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "1", "--help"}).mayStart);
}

TEST(ParseArgs, PortArgument_OnlyOneToThreeAreAccepted) {
    struct sCase {
        const char* argument;
        const char* port;  // empty: ignored
    };
    const sCase cases[] = {
        {"1", "1"},  {"2", "2"}, {"3", "3"},  {"02", "02"},       {"0", ""},
        {"4", ""},   {"2x", ""}, {"x2", ""},  {"-1", ""},         {"+2", ""},
        {" 2", ""},  {"", ""},   {"1.5", ""}, {"4294967298", ""}, {"18446744073709551618", ""},
        {"0x2", ""}, {"12", ""},
    };
    for (const sCase& row : cases) {
        const sParsed parsed = parse(ALL_BUT_PORT + std::vector<std::string>{"-p", row.argument});
        EXPECT_EQ(parsed.options.s_port, row.port) << "'" << row.argument << "'";
        EXPECT_EQ(parsed.mayStart, *row.port != '\0') << "'" << row.argument << "'";
    }
}

TEST(ParseArgs, InvalidPortAfterAValidOne_KeepsTheValidOne) {
    const sParsed parsed = parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "2", "-p", "4"});
    EXPECT_TRUE(parsed.mayStart);
    EXPECT_EQ(parsed.options.s_port, "2");
}

TEST(ParseArgs, HelpBeforeAValidPort_IsOverridden) {
    EXPECT_TRUE(parse(std::vector<std::string>{"-h", "-p", "2"} + ALL_BUT_PORT).mayStart);
}

TEST(ParseArgs, HelpAfterAValidPort_PreventsTheStart) {
    EXPECT_FALSE(parse(std::vector<std::string>{"-p", "2", "-h"} + ALL_BUT_PORT).mayStart);
}

TEST(ParseArgs, HelpBeforeAnInvalidPort_PreventsTheStart) {
    EXPECT_FALSE(
        parse(std::vector<std::string>{"-p", "1", "-h", "-p", "4"} + ALL_BUT_PORT).mayStart);
}

TEST(ParseArgs, OneOptionMissing_MayNotStart) {
    const std::vector<std::string> all = ALL_BUT_PORT + std::vector<std::string>{"-p", "1"};
    for (size_t left = 0; left < all.size(); left += 2) {
        std::vector<std::string> some = all;
        some.erase(some.begin() + static_cast<long>(left),
                   some.begin() + static_cast<long>(left) + 2);
        EXPECT_FALSE(parse(some).mayStart) << "without " << all[left];
    }
    EXPECT_FALSE(parse({}).mayStart);
    EXPECT_FALSE(parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "1", "-d", ""}).mayStart);
}

TEST(ParseArgs, UnknownOptionsAndMissingArgument_AreIgnored) {
    const std::vector<std::string> all = ALL_BUT_PORT + std::vector<std::string>{"-p", "1"};
    EXPECT_TRUE(parse(std::vector<std::string>{"-x", "--nothing", "word"} + all).mayStart);
    EXPECT_TRUE(parse(all + std::vector<std::string>{"-D"}).mayStart);
    EXPECT_TRUE(parse(all + std::vector<std::string>{"-p"}).mayStart);
}

TEST(ParseArgs, DebugMask_IsHexadecimalUpTo64Bits) {
    const struct {
        const char* argument;
        uint64_t mode;
    } cases[] = {
        {"1", 0x1},
        {"3", 0x3},
        {"10", 0x10},
        {"0xff", 0xff},
        {"3fffffffffffffff", 0x3fffffffffffffff},
        {"ffffffffffffffff", 0xffffffffffffffff},
        {"zz", 0},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parse({"-D", row.argument}).debugMode, row.mode) << row.argument;
}

TEST(ParseArgs, CalledTwice_StartsAgainAtTheFirstArgument) {
    EXPECT_TRUE(parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "1"}).mayStart);
    const sParsed second = parse(ALL_BUT_PORT + std::vector<std::string>{"-p", "3"});
    EXPECT_TRUE(second.mayStart);
    EXPECT_EQ(second.options.s_port, "3");
}

TEST(VersionRequest, OnlyWithoutOtherArguments) {
    const auto asks = [](std::vector<std::string> words) {
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(word.data());
        return isVersionRequest(static_cast<int>(argv.size()), argv.data());
    };
    EXPECT_TRUE(asks({"cellslotd", "--version"}));
    EXPECT_FALSE(asks({"cellslotd"}));
    EXPECT_FALSE(asks({"cellslotd", "--versions"}));
    // An unknown option is ignored, and the daemon starts.
    EXPECT_FALSE(asks({"cellslotd", "--version", "-p", "1"}));
    testing::internal::CaptureStdout();
    printVersion("cellslotd");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "cellslotd version 1.0.17\n");
}

TEST(Usage, Text_IsTheHelp) {
    testing::internal::CaptureStdout();
    usage("cellslotd");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "\n"
              "cellslotd version 1.0.17\n"
              "\n"
              "\n"
              "Usage: cellslotd -d </dev/device> -g /dev/device -i <wwanN> -p <1-3>\n"
              "\n"
              " -d : Path of character device to open\n"
              " -g : Path of character gps handle to open\n"
              " -i : Interface name to use (wwanN)\n"
              " -p : Sled Port slot of device\n"
              " -h : this help output\n");
}

TEST(GetProgramName, ThisProgram_IsItsFileName) {
    EXPECT_EQ(getProgramName(), "main_tests");
}
