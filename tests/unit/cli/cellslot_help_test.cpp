#include <gtest/gtest.h>

#include "tests/unit/cli/empty_host.h"

namespace {

// A screen with a prompt below the text.
constexpr size_t LINES_MAX = 23;
constexpr size_t COLUMNS_MAX = 80;

const std::vector<std::vector<const char*>> COMMANDS = {
    {},
    {"sms"},
    {"sms", "send"},
    {"sms", "list"},
    {"sms", "read"},
    {"sms", "wait"},
    {"at"},
    {"data"},
    {"pin"},
    {"pin", "set"},
    {"pin", "change"},
    {"pin", "enable"},
    {"pin", "disable"},
    {"pin", "puk"},
    {"reload"},
    {"config"},
    {"config", "check"},
    {"doctor"},
    {"record"},
    {"record", "start"},
    {"record", "stop"},
    {"record", "show"},
    {"record", "save"},
    {"report"},
    {"status"},
    {"watch"},
    {"history"},
};

std::string title(const std::vector<const char*>& command) {
    std::string text;
    for (const char* word : command)
        text += std::string(" ") + word;
    return text;
}

}  // namespace

TEST(CliHelp, OfEveryCommand_FitsOnAScreen) {
    const cEmptyHost host;
    for (std::vector<const char*> command : COMMANDS) {
        command.push_back("--help");
        const sCommandRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::OK, run.status) << title(command);
        EXPECT_EQ("", run.err) << title(command);
        size_t lines = 0;
        std::istringstream text(run.out);
        for (std::string line; std::getline(text, line); ++lines)
            EXPECT_LE(line.size(), COLUMNS_MAX) << title(command) << ": " << line;
        EXPECT_LE(lines, LINES_MAX) << title(command);
        EXPECT_NE(std::string::npos, run.out.find("Usage: cellslot")) << run.out;
        const size_t example = run.out.find("Example");
        ASSERT_NE(std::string::npos, example) << run.out;
        EXPECT_NE(std::string::npos, run.out.find(" cellslot ", run.out.find(':', example)))
            << run.out;
    }
}

TEST(CliCommandLine, InvalidArguments_GiveOneLineAndTheUsageStatus) {
    const cEmptyHost host;
    const std::vector<std::vector<const char*>> wrong = {{"nonsense"},
                                                         {"nonsense", "--help"},
                                                         {"sms", "nonsense", "-h"},
                                                         {"sms", "send", "12025550123"},
                                                         {"data"},
                                                         {"data", "maybe"},
                                                         {"pin", "guess"},
                                                         {"at", "AT", "-t", "32"},
                                                         {"reload", "-p", "4"},
                                                         {"doctor", "-p", "0"}};
    for (const std::vector<const char*>& command : wrong) {
        const sCommandRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::USAGE, run.status) << title(command);
        EXPECT_EQ("", run.out) << title(command);
        EXPECT_EQ(0u, run.err.rfind("cellslot: ", 0)) << run.err;
        EXPECT_EQ(run.err.size() - 1, run.err.find('\n')) << run.err;
    }
}

TEST(CliCommandLine, NotUnderstood_NamesTheRightHelp) {
    const cEmptyHost host;
    const auto end = [&](const std::vector<const char*>& command) {
        const std::string text = runOn(host, command).err;
        return text.substr(std::min(text.find(" (see "), text.size()));
    };
    EXPECT_EQ(" (see cellslot --help)\n", end({"nonsense"}));
    EXPECT_EQ(" (see cellslot status --help)\n", end({"status", "-p", "9"}));
    EXPECT_EQ(" (see cellslot sms --help)\n", end({"sms", "nonsense"}));
    EXPECT_EQ(" (see cellslot sms send --help)\n", end({"sms", "send"}));
}

TEST(CliCommandLine, UnknownSubcommand_IsNamedWithASuggestion) {
    const cEmptyHost host;
    EXPECT_EQ(
        "cellslot: unknown subcommand: cellslot stauts; did you mean status? (see cellslot "
        "--help)\n",
        runOn(host, {"stauts"}).err);
    EXPECT_EQ(
        "cellslot: unknown subcommand: cellslot sms sned; did you mean send? (see cellslot sms "
        "--help)\n",
        runOn(host, {"sms", "sned", "12345", "x"}).err);
    EXPECT_EQ("cellslot: unknown subcommand: cellslot a?[2Jb (see cellslot --help)\n",
              runOn(host, {"a\x1b[2Jb"}).err);
    EXPECT_EQ("cellslot: unknown subcommand: cellslot frob (see cellslot --help)\n",
              runOn(host, {"frob", "--help"}).err);
}

TEST(CliCommandLine, WithoutASubcommand_ListsThem) {
    const cEmptyHost host;
    for (const std::vector<const char*>& command :
         std::vector<std::vector<const char*>>{{}, {"sms"}, {"pin"}, {"config"}}) {
        std::vector<const char*> help = command;
        help.push_back("--help");
        const sCommandRun run = runOn(host, command);
        EXPECT_EQ(eExitStatus::USAGE, run.status) << title(command);
        EXPECT_NE(std::string::npos, run.out.find("\nSubcommands:\n")) << run.out;
        EXPECT_EQ(runOn(host, help).out, run.out) << title(command);
        EXPECT_EQ("", run.err) << title(command);
    }
}

TEST(CliCommandLine, SlotWithoutDaemon_HasOneWording) {
    cEmptyHost host;
    const std::vector<std::vector<const char*>> commands = {
        {"at", "AT", "-p", "2"}, {"data", "on", "-p", "2"}, {"pin", "change", "-p", "2"},
        {"reload", "-p", "2"},   {"status", "-p", "2"},     {"doctor", "-p", "2"}};
    for (const std::vector<const char*>& command : commands) {
        const sCommandRun run = runOn(host, command);
        EXPECT_NE(std::string::npos, (run.out + run.err).find("no daemon is running for slot 2"))
            << title(command) << run.out << run.err;
    }
    const std::string start =
        "cellslot: no daemon is running for slot 2; to start it: "
        "systemctl start cellslotd@2\n";
    for (const char* command : {"reload", "status"})
        EXPECT_EQ(start, runOn(host, {command, "-p", "2"}).err);
    for (const std::vector<const char*>& command :
         std::vector<std::vector<const char*>>{{"sms", "send", "12025550123", "x"}, {"status"}}) {
        cEmptyHost nothing;
        EXPECT_EQ(
            "cellslot: no daemon is running for any slot; to start one: systemctl start "
            "cellslotd@1\n",
            runOn(nothing, command).err);
    }
}

TEST(CliData, SlotWithoutDaemon_DoesNotClaimThatDataIsOn) {
    cEmptyHost host;
    const sCommandRun run = runOn(host, {"data", "on", "-p", "2"});
    EXPECT_EQ(eExitStatus::NO_DAEMON, run.status);
    EXPECT_EQ("", run.out);
    EXPECT_EQ(
        "cellslot: no daemon is running for slot 2; after its next start, data is on, regardless "
        "of "
        "the "
        "configuration\n",
        run.err);
    EXPECT_TRUE(fileExists(host.places.at("/tmp/force_cell_con.2")));
}

TEST(CliCommandLine, HelpThatCannotBeWritten_IsAFailure) {
    const cEmptyHost host;
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    out.setstate(std::ios::badbit);
    sCliContext context{host.places, in, out};
    const char* const words[] = {"cellslot", "--help"};
    EXPECT_EQ(eExitStatus::FAILED, runCellslot(2, words, context, err));
}

TEST(CliSlot, SeveralDaemonsAndNoSlotNamed_RequiresOne) {
    cEmptyHost host;
    host.daemon(1, 101);
    host.daemon(3, 103);
    const sCommandRun run = runOn(host, {"data", "off"});
    EXPECT_EQ(eExitStatus::USAGE, run.status);
    EXPECT_NE(std::string::npos, run.err.find("slots 1, 3")) << run.err;
    EXPECT_FALSE(fileExists(host.places.at("/tmp/force_cell_nocon.1")));
}

TEST(CliSlot, OneDaemonAndNoSlotNamed_IsUsed) {
    cEmptyHost host;
    host.daemon(2, 102);
    EXPECT_EQ(eExitStatus::OK, runOn(host, {"data", "off", "-t", "0"}).status);
    EXPECT_TRUE(fileExists(host.places.at("/tmp/force_cell_nocon.2")));
}
