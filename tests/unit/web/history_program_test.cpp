#include "web/history_program.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include "http/jobs.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr int PATIENCE_MS = 300000;  // only bounds a failure

class HistoryProgram : public testing::Test {
  protected:
    void run(const std::string& script, const std::vector<std::string>& arguments = {}) {
        writeFile(program, "#!/bin/sh\n" + script);
        chmod(program.c_str(), 0755);
        start(arguments);
    }

    // Waits for the result.
    void start(const std::vector<std::string>& arguments) {
        cJobs jobs(10);
        bool isDone = false;
        const auto startIt = [&](long long /*nowS*/) {
            return startHistoryProgram(program, arguments);
        };
        jobs.add({eJobKind::HISTORY, "", startIt, {}}, [&](const sJobResult& its, long long) {
            result = its;
            isDone = true;
        });
        for (jobs.run(0); !isDone; jobs.run(0)) {
            pollfd event = {jobs.descriptor(), POLLIN, 0};
            ASSERT_EQ(poll(&event, 1, PATIENCE_MS), 1);
        }
    }

    cTempFolder folder;
    const std::string program = folder / "program";
    sJobResult result;
};

}  // namespace

TEST_F(HistoryProgram, Output_IsCollectedWhole) {
    run("echo \"$@\"; head -c 100000 /dev/zero | tr '\\0' x", {"events", "1; echo 2"});
    EXPECT_TRUE(result.isComplete);
    EXPECT_EQ(result.output.substr(0, 17), "events 1; echo 2\n");
    EXPECT_EQ(result.output.size(), 100017u);
}

TEST_F(HistoryProgram, MissingProgram_IsKnownBeforeItIsStarted) {
    EXPECT_FALSE(hasHistoryProgram(program));
    run("");
    EXPECT_TRUE(hasHistoryProgram(program));
}

TEST_F(HistoryProgram, Failure_IsExplained) {
    run("echo half; exit 3");
    EXPECT_TRUE(result.isComplete);
    EXPECT_EQ(result.exitStatus, 3);
    run("while :; do echo endless text; done");
    EXPECT_FALSE(result.isComplete);
    EXPECT_EQ(result.error, "printed too much");
    writeFile(program, "no program");
    start({});
    EXPECT_FALSE(result.isStarted);
    EXPECT_NE(result.error.find("cannot be started"), std::string::npos) << result.error;
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
