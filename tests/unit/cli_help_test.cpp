#include <gtest/gtest.h>

#include "tests/unit/cli_host.h"

namespace {

// A screen that has a prompt below the text.
constexpr size_t LINES_MAX = 23;
constexpr size_t COLUMNS_MAX = 80;

const std::vector<std::vector<const char*>> COMMANDS = {
    {"sms"},           {"sms", "send"},
    {"sms", "list"},   {"sms", "read"},
    {"sms", "wait"},   {"at"},
    {"data"},          {"pin"},
    {"pin", "set"},    {"pin", "change"},
    {"pin", "enable"}, {"pin", "disable"},
    {"pin", "puk"},    {"reload"},
    {"config"},        {"config", "check"},
    {"doctor"},        {"status"},
    {"watch"},
};

std::string title(const std::vector<const char*>& command) {
    std::string text;
    for (const char* word : command)
        text += std::string(" ") + word;
    return text;
}

}  // namespace

TEST(CliHelp, OfEveryCommand_FitsOnAScreen) {
    const cCliHost host;
    for (std::vector<const char*> command : COMMANDS) {
        command.push_back("--help");
        const sCliRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::OK, run.status) << title(command);
        EXPECT_EQ("", run.err) << title(command);
        size_t lines = 0;
        std::istringstream text(run.out);
        for (std::string line; std::getline(text, line); ++lines)
            EXPECT_LE(line.size(), COLUMNS_MAX) << title(command) << ": " << line;
        EXPECT_LE(lines, LINES_MAX) << title(command);
        EXPECT_NE(std::string::npos, run.out.find("Usage: cellslot")) << run.out;
    }
}

TEST(CliCommandLine, NotUnderstood_OneLineAndUsageStatus) {
    const cCliHost host;
    const std::vector<std::vector<const char*>> wrong = {{},
                                                         {"nonsense"},
                                                         {"sms"},
                                                         {"sms", "send", "12025550123"},
                                                         {"data"},
                                                         {"data", "maybe"},
                                                         {"pin", "guess"},
                                                         {"at", "AT", "-t", "32"},
                                                         {"reload", "-p", "4"},
                                                         {"config"},
                                                         {"doctor", "-p", "0"}};
    for (const std::vector<const char*>& command : wrong) {
        const sCliRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::USAGE, run.status) << title(command);
        EXPECT_EQ("", run.out) << title(command);
        EXPECT_EQ(0u, run.err.rfind("cellslot: ", 0)) << run.err;
        EXPECT_EQ(run.err.size() - 1, run.err.find('\n')) << run.err;
    }
}

TEST(CliSlot, SeveralDaemonsAndNoneNamed_IsAskedFor) {
    cCliHost host;
    host.daemon(1, 101);
    host.daemon(3, 103);
    const sCliRun run = runOn(host, {"data", "off"});
    EXPECT_EQ(eExitStatus::USAGE, run.status);
    EXPECT_NE(std::string::npos, run.err.find("slots 1, 3")) << run.err;
    EXPECT_FALSE(fileExists(host.places.at("/tmp/force_cell_nocon.1")));
}

TEST(CliSlot, OneDaemonAndNoneNamed_IsMeant) {
    cCliHost host;
    host.daemon(2, 102);
    EXPECT_EQ(eExitStatus::OK, runOn(host, {"data", "off", "-t", "0"}).status);
    EXPECT_TRUE(fileExists(host.places.at("/tmp/force_cell_nocon.2")));
}
