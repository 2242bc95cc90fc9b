#include "include/repeated_starts.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "include/repeated_notices.h"
#include "main/pid_file.h"
#include "platform/include/timer_clock.h"
#include "tests/support/in_pass.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

namespace {

constexpr uint64_t MINUTE_MS = 60000;
constexpr uint64_t HOUR_MS = 60 * MINUTE_MS;
constexpr const char* ROW = "what the run before logged, too, is not logged again";

using tTexts = std::vector<std::string>;

uint64_t g_nowMs = 0;

std::string rowLine(int start) {
    return "Start " + std::to_string(start) + " in a row after a reset: " + ROW;
}

class RepeatedStarts : public ::testing::Test {
  protected:
    RepeatedStarts() {
        resetRepeatedNotices();
        g_nowMs = 100 * HOUR_MS;
        setTimerClock([] { return g_nowMs; });
    }
    ~RepeatedStarts() override {
        setTimerClock(nullptr);
        resetRepeatedNotices();
    }

    // Starts a process with these messages; returns what it logged.
    tTexts start(const tTexts& texts) {
        clearCapturedLog();
        resetRepeatedNotices();
        beginStart(m_path);
        for (const std::string& text : texts)
            notice(text.c_str());
        return capturedLog();
    }

    // The process ends with a reset a minute later and is started again ten seconds after that.
    tTexts runToReset(const tTexts& texts) {
        tTexts logged = start(texts);
        g_nowMs += MINUTE_MS;
        keepForNextStart();
        g_nowMs += 10000;
        return logged;
    }

    // The file that a run left is changed: the next run logs everything.
    void expectIsLoggedAfter(const std::function<void(const std::string&)>& change) {
        runToReset({"fault"});
        change(m_path);
        EXPECT_EQ(start({"fault"}), tTexts{"fault"});
    }

    cLogMode m_mode;
    cTempFolder m_folder;
    std::string m_path = m_folder / "logged";
};

TEST_F(RepeatedStarts, RunLikeThePreviousOne_LogsNothing) {
    const tTexts texts = {"starting", "fault", "fault", "exiting"};
    EXPECT_EQ(runToReset(texts), texts);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(runToReset(texts), tTexts());
}

TEST_F(RepeatedStarts, NeverBegun_NeitherFiltersNorWrites) {
    for (int i = 0; i < 2; ++i)
        notice("fault");
    keepForNextStart();
    EXPECT_EQ(logCount("fault"), 2u);
    EXPECT_FALSE(fileExists(m_path));
}

TEST_F(RepeatedStarts, NewMessage_IsLoggedAfterALineThatExplainsTheStart) {
    for (int i = 0; i < 3; ++i)
        runToReset({"starting", "no SIM"});
    EXPECT_EQ(start({"starting", "SIM ready", "registered"}),
              (tTexts{rowLine(4), "SIM ready", "registered"}));
}

TEST_F(RepeatedStarts, MessageLoggedOnceMoreThanBefore_IsLoggedThatOnce) {
    runToReset({"fault", "fault"});
    EXPECT_EQ(runToReset({"fault", "fault", "fault"}), (tTexts{rowLine(2), "fault"}));
    EXPECT_EQ(runToReset({"fault", "fault", "fault"}), tTexts());
}

TEST_F(RepeatedStarts, FaultThatWasGoneForOneRun_IsLoggedAgain) {
    runToReset({"fault"});
    runToReset({"other"});
    EXPECT_EQ(start({"fault"}), (tTexts{rowLine(3), "fault"}));
}

TEST_F(RepeatedStarts, EndWithoutAReset_LogsEverythingNextTime) {
    runToReset({"fault"});
    start({"fault"});  // and was killed
    EXPECT_FALSE(fileExists(m_path));
    EXPECT_EQ(start({"fault"}), tTexts{"fault"});
}

TEST_F(RepeatedStarts, StartAfterHalfAnHour_LogsEverything) {
    runToReset({"fault"});
    g_nowMs += 29 * MINUTE_MS;
    EXPECT_EQ(runToReset({"fault"}), tTexts());
    g_nowMs += 30 * MINUTE_MS;
    EXPECT_EQ(start({"fault"}), tTexts{"fault"});
}

TEST_F(RepeatedStarts, FileFromTheFuture_LogsEverything) {
    runToReset({"fault"});
    g_nowMs -= HOUR_MS;
    EXPECT_EQ(start({"fault"}), tTexts{"fault"});
}

TEST_F(RepeatedStarts, RunOfMoreThanAnHour_LogsEverythingNextTime) {
    start({"fault"});
    g_nowMs += HOUR_MS + 1;
    keepForNextStart();
    EXPECT_EQ(start({"fault"}), tTexts{"fault"});
}

TEST_F(RepeatedStarts, RunThatWorked_LogsEverythingFromThenOnAndNextTime) {
    runToReset({"starting", "lost"});
    EXPECT_EQ(start({"starting"}), tTexts());
    noteWorkingRun();
    notice("lost");
    EXPECT_EQ(capturedLog(), tTexts{"lost"});
    keepForNextStart();
    EXPECT_EQ(start({"starting"}), tTexts{"starting"});
}

TEST_F(RepeatedStarts, OnceADay_EverythingIsLogged) {
    constexpr int DAYS = 3;
    size_t lines = 0;
    int whole = 0;
    while (g_nowMs < (100 + 24 * DAYS) * HOUR_MS) {
        const tTexts logged = runToReset({"starting", "fault", "exiting"});
        if (!logged.empty()) ++whole;
        lines += logged.size();
        g_nowMs += 8 * MINUTE_MS;
    }
    EXPECT_EQ(whole, DAYS);
    // Each but the first has a line that says why.
    EXPECT_EQ(lines, 3u * DAYS + DAYS - 1);
}

TEST_F(RepeatedStarts, OnceADay_TheLineCountsAllStartsInARow) {
    const uint64_t end = g_nowMs + 24 * HOUR_MS;
    runToReset({"fault"});
    int starts = 1;
    tTexts logged;
    while (g_nowMs < end) {
        logged = runToReset({"fault"});
        ++starts;
        g_nowMs += 20 * MINUTE_MS;
    }
    EXPECT_EQ(logged, tTexts());
    logged = runToReset({"fault"});
    EXPECT_EQ(logged, (tTexts{"Start " + std::to_string(starts + 1) +
                                  " in a row after a reset: everything is logged again, once a day",
                              "fault"}));
}

TEST_F(RepeatedStarts, Repetition_IsADebugMessage) {
    runToReset({"fault"});
    g_i_debugMode = eLOG_STATE;
    testing::internal::CaptureStdout();
    EXPECT_EQ(start({"fault"}), tTexts{"DEBUG: fault"});
    testing::internal::GetCapturedStdout();
}

TEST_F(RepeatedStarts, MessagesThatDifferInNumbersOnly_AreRepetitions) {
    const auto addresses = [&](const char* text) {
        start({});
        const cVaryingNumbers numbers;
        notice(text);
        const tTexts logged = capturedLog();
        keepForNextStart();
        return logged;
    };
    EXPECT_EQ(addresses("address 10.0.0.1"), tTexts{"address 10.0.0.1"});
    EXPECT_EQ(addresses("address 10.99.7.12"), tTexts());
}

TEST_F(RepeatedStarts, MessageAboutThePidFile_IsARepetitionWhateverThePid) {
    const std::string program = "no-such-program";
    runToReset({});
    start({});
    writePidFile(program, "1", m_folder.path());
    EXPECT_EQ(capturedLog().size(), 2u);  // including the line that says which start it is
    keepForNextStart();
    const pid_t child = fork();
    if (child == 0) {
        start({});
        writePidFile(program, "1", m_folder.path());
        _exit(static_cast<int>(capturedLog().size()));
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 0);
}

TEST_F(RepeatedStarts, SingleEvent_IsLoggedInEachRun) {
    for (int i = 0; i < 2; ++i) {
        start({});
        const cSingleEvent event;
        notice("asked for");
        EXPECT_EQ(capturedLog().back(), "asked for");
        keepForNextStart();
    }
}

TEST_F(RepeatedStarts, InAPass_IsFilteredByBoth) {
    const auto run = [&] {
        start({});
        for (int i = 0; i < 3; ++i)
            inPass(eWORK_POLL, [] { notice("refused"); });
        keepForNextStart();
        return capturedLog();
    };
    EXPECT_EQ(run(), tTexts{"refused"});
    EXPECT_EQ(run(), tTexts());
}

TEST_F(RepeatedStarts, MoreTextsThanFit_LogsOnlyTheRest) {
    tTexts texts;
    for (int i = 0; i < 1000; ++i)
        texts.push_back("text " + std::to_string(i));
    runToReset(texts);
    struct stat info;
    ASSERT_EQ(stat(m_path.c_str(), &info), 0);
    EXPECT_LE(info.st_size, 8192);
    EXPECT_EQ(start(texts).size(), 1 + 1000u - 256u);
}

// ---- the file -----------------------------------------------------------------------------------

TEST_F(RepeatedStarts, File_IsForItsOwnerOnlyAndDeletedByTheStart) {
    runToReset({"fault"});
    struct stat info;
    ASSERT_EQ(stat(m_path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    start({});
    EXPECT_FALSE(fileExists(m_path));
}

TEST_F(RepeatedStarts, FileCutAtEachByte_LogsEverything) {
    runToReset({"fault", "other"});
    const std::string whole = readFile(m_path);
    for (size_t length = 0; length < whole.size(); ++length) {
        writeFile(m_path, whole.substr(0, length));
        chmod(m_path.c_str(), 0600);
        EXPECT_EQ(start({"fault"}), tTexts{"fault"}) << length;
        EXPECT_FALSE(fileExists(m_path));
    }
}

TEST_F(RepeatedStarts, FileWithAChangedByte_HidesNoNewMessage) {
    runToReset({"fault"});
    const std::string whole = readFile(m_path);
    for (size_t i = 0; i < whole.size(); ++i)
        for (const char byte : {'\0', 'x', '9', ' ', '-', '\n', '\xff'}) {
            std::string changed = whole;
            changed[i] = byte;
            writeFile(m_path, changed);
            chmod(m_path.c_str(), 0600);
            // A new text is logged, whatever the file contains.
            EXPECT_EQ(start({"other"}).back(), "other") << i;
        }
}

TEST_F(RepeatedStarts, FileThatIsSomethingElse_LogsEverything) {
    const std::string other = m_folder / "other";
    const std::vector<std::function<void(const std::string&)>> changes = {
        [](const std::string& path) { chmod(path.c_str(), 0622); },
        [](const std::string& path) { writeFile(path, readFile(path) + "more\n"); },
        [](const std::string& path) { EXPECT_EQ(truncate(path.c_str(), 1 << 30), 0); },
        [](const std::string& path) {
            std::string text = readFile(path);
            text.replace(0, 11, "cellslotd 2");
            writeFile(path, text);
        },
        [](const std::string& path) {
            std::string text = readFile(path);
            text.replace(12, 8, "00000000");  // of the previous boot
            writeFile(path, text);
        },
        [&](const std::string& path) {
            rename(path.c_str(), other.c_str());
            EXPECT_EQ(symlink(other.c_str(), path.c_str()), 0);
        },
        [&](const std::string& path) {
            unlink(other.c_str());
            EXPECT_EQ(link(path.c_str(), other.c_str()), 0);
        },
        [](const std::string& path) {
            unlink(path.c_str());
            EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
        },
        [](const std::string& path) {
            unlink(path.c_str());
            EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
        },
    };
    for (size_t i = 0; i < changes.size(); ++i) {
        SCOPED_TRACE(i);
        expectIsLoggedAfter(changes[i]);
        rmdir(m_path.c_str());
    }
}

TEST_F(RepeatedStarts, FileOfAnotherUser_LogsEverything) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
    expectIsLoggedAfter(
        [](const std::string& path) { EXPECT_EQ(chown(path.c_str(), 65534, 65534), 0); });
}

TEST_F(RepeatedStarts, FileThatCannotBeWritten_LogsEverythingAndSaysSo) {
    ASSERT_EQ(mkdir(m_path.c_str(), 0700), 0);
    const tTexts first = runToReset({"fault"});
    EXPECT_EQ(first, tTexts{"fault"});
    EXPECT_EQ(start({"fault"}), tTexts{"fault"});
}

}  // namespace
