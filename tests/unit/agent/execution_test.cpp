#include "agent/execution.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temp_folder.h"

namespace {

using tWords = std::vector<std::string>;

sCommand commandOf(const char* name) {
    sCommand command;
    command.name = name;
    command.slot = 2;
    return command;
}

// A program that does what the script says, in place of cellslot.
class Execution : public testing::Test {
  protected:
    sOutcome run(const std::string& script, sCommand command = commandOf(COMMAND_RELOAD)) {
        writeFile(program, "#!/bin/sh\n" + script + "\n");
        chmod(program.c_str(), 0755);
        return execute(program, command);
    }
    cTempFolder folder;
    const std::string program = folder / "cellslot";
};

}  // namespace

TEST_F(Execution, Words_AreNeverOptionsOfWhoeverAsks) {
    sCommand command = commandOf(COMMAND_SMS);
    command.to = "+12025550123";
    command.text = "--help; reboot $(reboot)";
    EXPECT_EQ(wordsOf("cellslot", command),
              (tWords{"cellslot", "sms", "send", "--wait", "--timeout", "200", "--", "+12025550123",
                      "-"}));
    command = commandOf(COMMAND_AT);
    command.at = "AT+CSQ";
    EXPECT_EQ(wordsOf("cellslot", command),
              (tWords{"cellslot", "at", "--timeout", "31", "-p", "2", "--", "AT+CSQ"}));
    command = commandOf(COMMAND_HISTORY);
    command.since = "-h";
    command.view = "outages";
    EXPECT_EQ(wordsOf("cellslot", command),
              (tWords{"cellslot", "history", "outages", "--since=-h", "-p", "2"}));
    command = commandOf(COMMAND_DATA);
    command.want = "off";
    EXPECT_EQ(wordsOf("cellslot", command),
              (tWords{"cellslot", "data", "off", "--timeout", "60", "-p", "2"}));
}

TEST_F(Execution, ExitStatus_DecidesAndTheLastLineIsTheText) {
    const sOutcome good = run("echo first; echo 'slot 2: done'");
    EXPECT_EQ(good.status, eResult::DONE);
    EXPECT_EQ(good.text, "slot 2: done");
    EXPECT_EQ(good.output, "first\nslot 2: done\n");
    const sOutcome bad = run("echo 'cellslot: no daemon' >&2; exit 3");
    EXPECT_EQ(bad.status, eResult::FAILED);
    EXPECT_EQ(bad.exit, 3);
    EXPECT_EQ(bad.text, "cellslot: no daemon");
}

// Every user of the host can read the words of a program.
TEST_F(Execution, TextOfAMessage_IsTheInputOfTheProgram) {
    sCommand command = commandOf(COMMAND_SMS);
    command.to = "+12025550123";
    command.text = "the code is 1234\n" + std::string(8000, 'x');
    const sOutcome outcome = run("cat; echo; tr '\\0' ' ' </proc/$$/cmdline", command);
    EXPECT_EQ(outcome.output.find(command.text), 0u);
    EXPECT_EQ(outcome.output.find("1234", 20), std::string::npos) << outcome.output;
}

TEST_F(Execution, OtherCommands_HaveNoInput) {
    EXPECT_EQ(run("cat; echo end").output, "end\n");
}

TEST_F(Execution, DoctorWithFindings_IsDone) {
    EXPECT_EQ(run("exit 1", commandOf(COMMAND_DOCTOR)).status, eResult::DONE);
    EXPECT_EQ(run("exit 2", commandOf(COMMAND_DOCTOR)).status, eResult::FAILED);
}

TEST_F(Execution, EndlessOutput_IsCut) {
    const sOutcome outcome = run("head -c 2000000 /dev/zero | tr '\\0' x");
    EXPECT_EQ(outcome.output.size(), OUTPUT_MAX);
    EXPECT_NE(outcome.text.find("printed more"), std::string::npos);
}

TEST_F(Execution, NoProgram_Fails) {
    EXPECT_EQ(execute(folder / "nothing", commandOf(COMMAND_RELOAD)).status, eResult::FAILED);
}

TEST_F(Execution, Report_ArchiveIsTheOutput) {
    const sOutcome outcome = run("for last; do :; done; printf 'a\\0b' >\"$last\"; echo listed",
                                 commandOf(COMMAND_REPORT));
    EXPECT_EQ(outcome.status, eResult::DONE);
    EXPECT_TRUE(outcome.isBinary);
    EXPECT_EQ(outcome.output, std::string("a\0b", 3));
    EXPECT_EQ(outcome.text, "The archive has 1 kB.") << "the file is gone by then";
}
