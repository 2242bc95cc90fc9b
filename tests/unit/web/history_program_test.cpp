#include "web/history_program.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temp_folder.h"

namespace {

class HistoryProgram : public testing::Test {
  protected:
    eProgramRun run(const std::string& script, const std::vector<std::string>& arguments = {}) {
        writeFile(program, "#!/bin/sh\n" + script);
        chmod(program.c_str(), 0755);
        return runHistoryProgram(program, arguments, text);
    }

    cTempFolder folder;
    const std::string program = folder / "program";
    std::string text;
};

}  // namespace

TEST_F(HistoryProgram, Output_IsCollectedWhole) {
    EXPECT_EQ(run("echo \"$@\"; head -c 100000 /dev/zero | tr '\\0' x", {"events", "1; echo 2"}),
              eProgramRun::DONE);
    EXPECT_EQ(text.substr(0, 17), "events 1; echo 2\n");
    EXPECT_EQ(text.size(), 100017u);
}

TEST_F(HistoryProgram, MissingProgram_IsNoFailure) {
    EXPECT_EQ(runHistoryProgram(folder / "nothing", {}, text), eProgramRun::MISSING);
    EXPECT_EQ(text, "");
}

TEST_F(HistoryProgram, Failure_IsExplained) {
    EXPECT_EQ(run("echo half; exit 3"), eProgramRun::FAILED);
    EXPECT_EQ(text, program + " failed; see journalctl -u cellslot-web");
    EXPECT_EQ(run("while :; do echo endless text; done"), eProgramRun::FAILED);
    EXPECT_EQ(text, program + " did not end in time, or printed too much");
    writeFile(program, "no program");
    EXPECT_EQ(runHistoryProgram(program, {}, text), eProgramRun::FAILED);
    EXPECT_NE(text.find("cannot be started"), std::string::npos) << text;
}

TEST_F(HistoryProgram, Parameters_AreTakenFromLists) {
    for (const char* range : {"1h", "6h", "24h", "7d", "30d", "365d"})
        EXPECT_TRUE(isHistoryRange(range)) << range;
    for (const char* range : {"", "2h", "24H", "24h ", "365d\n"})
        EXPECT_FALSE(isHistoryRange(range)) << range;
    EXPECT_TRUE(isSlotNumber("1"));
    EXPECT_TRUE(isSlotNumber("3"));
    for (const char* slot : {"", "0", "4", "01", "1 ", "-1", "one"})
        EXPECT_FALSE(isSlotNumber(slot)) << slot;
}
