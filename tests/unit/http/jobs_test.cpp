#include "http/jobs.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <csignal>

namespace {

constexpr int PATIENCE_MS = 300000;  // only bounds a failure

class Jobs : public testing::Test {
  protected:
    // A job whose process waits until something is written into its gate, then prints and exits.
    struct sGate {
        int ends[2] = {-1, -1};
        sGate() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
        ~sGate() {
            close(ends[0]);
            close(ends[1]);
        }
        void open() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
    };

    static sWork startProcess(const std::function<int(int output)>& run) {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        sWork work;
        work.process = fork();
        if (work.process == 0) _exit(run(ends[1]));
        close(ends[1]);
        work.output = ends[0];
        work.outputMax = 1000;
        return work;
    }

    static sWork startBehind(const sGate& gate, const std::string& text, int exitStatus) {
        return startProcess([&](int output) {
            char letter = 0;
            const bool isOpen = read(gate.ends[0], &letter, 1) == 1;
            const bool isWritten = write(output, text.data(), text.size()) == ssize_t(text.size());
            return isOpen && isWritten ? exitStatus : 99;
        });
    }

    bool add(eJobKind kind, const std::string& key, const std::function<sWork()>& start) {
        const auto counted = [this, key, start](long long) {
            started.push_back(key);
            return start();
        };
        return jobs.add({kind, key, counted, {}}, [this, key](const sJobResult& result, long long) {
            done.push_back(key);
            last = result;
        });
    }

    // Until as many requests have their result.
    void runUntilDone(size_t count) {
        jobs.run(nowS);
        while (done.size() < count) {
            pollfd event = {jobs.descriptor(), POLLIN, 0};
            ASSERT_EQ(poll(&event, 1, PATIENCE_MS), 1);
            jobs.run(nowS);
        }
    }

    cJobs jobs{10};
    long long nowS = 1000;
    std::vector<std::string> started;
    std::vector<std::string> done;
    sJobResult last;
};

}  // namespace

TEST_F(Jobs, ProcessThatEnds_GivesItsOutputAndStatus) {
    const sGate gate;
    ASSERT_TRUE(add(eJobKind::HISTORY, "a", [&] { return startBehind(gate, "text", 3); }));
    jobs.run(nowS);
    EXPECT_TRUE(done.empty());
    gate.open();
    runUntilDone(1);
    EXPECT_TRUE(last.isStarted);
    EXPECT_TRUE(last.isComplete);
    EXPECT_EQ(last.output, "text");
    EXPECT_EQ(last.exitStatus, 3);
    EXPECT_EQ(last.error, "");
}

TEST_F(Jobs, OneThatHangs_HoldsUpOnlyItsOwnKind) {
    const sGate hangs;
    const sGate gate;
    add(eJobKind::HISTORY, "hangs", [&] { return startBehind(hangs, "", 0); });
    add(eJobKind::HISTORY, "waits", [&] { return startBehind(gate, "", 0); });
    add(eJobKind::PASSWORD, "other", [&] { return startBehind(gate, "", 1); });
    gate.open();
    runUntilDone(1);
    EXPECT_EQ(done, (std::vector<std::string>{"other"}));
    EXPECT_EQ(started, (std::vector<std::string>{"hangs", "other"}));
    gate.open();
    hangs.open();
    runUntilDone(3);
    EXPECT_EQ(done, (std::vector<std::string>{"other", "hangs", "waits"}));
}

TEST_F(Jobs, RequestsWithTheSameKey_ShareOneJob) {
    const sGate gate;
    const auto start = [&] { return startBehind(gate, "shared", 0); };
    add(eJobKind::HISTORY, "same", start);
    jobs.run(nowS);
    add(eJobKind::HISTORY, "same", start);
    add(eJobKind::HISTORY, "later", start);
    add(eJobKind::HISTORY, "later", start);
    gate.open();
    gate.open();
    runUntilDone(4);
    EXPECT_EQ(started, (std::vector<std::string>{"same", "later"}));
    EXPECT_EQ(done, (std::vector<std::string>{"same", "same", "later", "later"}));
    EXPECT_EQ(last.output, "shared");
}

TEST_F(Jobs, FullQueue_RefusesOthersButTakesSharers) {
    const sGate gate;
    const auto start = [&] { return startBehind(gate, "", 0); };
    add(eJobKind::HISTORY, "runs", start);
    jobs.run(nowS);
    for (size_t i = 0; i < cJobs::WAITING_MAX; ++i)
        EXPECT_TRUE(add(eJobKind::HISTORY, std::to_string(i), start)) << i;
    EXPECT_FALSE(add(eJobKind::HISTORY, "too many", start));
    EXPECT_TRUE(add(eJobKind::HISTORY, "7", start));
    EXPECT_TRUE(add(eJobKind::MESSAGES, "other kind", start));
}

TEST_F(Jobs, RequestsBeforeTheFirstRun_HaveAsMuchRoom) {
    const sGate gate;
    const auto start = [&] { return startBehind(gate, "", 0); };
    for (size_t i = 0; i <= cJobs::WAITING_MAX; ++i)
        EXPECT_TRUE(add(eJobKind::HISTORY, std::to_string(i), start)) << i;
    EXPECT_FALSE(add(eJobKind::HISTORY, "too many", start));
}

TEST_F(Jobs, ProcessThatDoesNotEnd_IsKilledAndTheNextOneRuns) {
    const sGate hangs;
    const sGate gate;
    pid_t process = 0;
    add(eJobKind::HISTORY, "hangs", [&] {
        const sWork work = startBehind(hangs, "", 0);
        process = work.process;
        return work;
    });
    add(eJobKind::HISTORY, "next", [&] { return startBehind(gate, "", 0); });
    jobs.run(nowS);
    nowS += 9;
    jobs.run(nowS);
    EXPECT_TRUE(done.empty());
    nowS += 1;
    jobs.run(nowS);
    EXPECT_FALSE(last.isComplete);
    EXPECT_EQ(last.error, "did not end in time");
    EXPECT_EQ(started.back(), "next");
    // No zombie stays.
    while (kill(process, 0) == 0) {
        usleep(1000);
        jobs.run(nowS);
    }
    EXPECT_EQ(done.size(), 1u);
}

TEST_F(Jobs, EndlessOutput_IsCutOff) {
    add(eJobKind::HISTORY, "endless", [&] {
        return startProcess([](int output) {
            fcntl(output, F_SETFL, 0);
            while (write(output, "text\n", 5) == 5) {
            }
            return 0;
        });
    });
    runUntilDone(1);
    EXPECT_FALSE(last.isComplete);
    EXPECT_EQ(last.error, "printed too much");
}

TEST_F(Jobs, OutputThatAChildKeepsOpen_DoesNotHoldUpTheResult) {
    const sGate gate;
    add(eJobKind::HISTORY, "parent", [&] {
        return startProcess([&](int output) {
            if (fork() == 0) {
                char letter = 0;
                close(gate.ends[1]);
                _exit(read(gate.ends[0], &letter, 1) < 0 ? 1 : 0);
            }
            return write(output, "done", 4) == 4 ? 0 : 1;
        });
    });
    runUntilDone(1);
    EXPECT_TRUE(last.isComplete);
    EXPECT_EQ(last.output, "done");
    gate.open();
}

TEST_F(Jobs, OutputWithoutProcess_IsReadToItsEnd) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    sWork work;
    work.output = ends[0];
    work.outputMax = 100;
    add(eJobKind::MESSAGES, "pipe", [&] { return work; });
    jobs.run(nowS);
    ASSERT_EQ(write(ends[1], "{}", 2), 2);
    jobs.run(nowS);
    EXPECT_TRUE(done.empty());
    close(ends[1]);
    runUntilDone(1);
    EXPECT_TRUE(last.isComplete);
    EXPECT_EQ(last.output, "{}");
}

TEST_F(Jobs, WhatCannotBeStarted_SaysWhy) {
    sWork work;
    work.error = "no processes left";
    add(eJobKind::PASSWORD, "fails", [&] { return work; });
    runUntilDone(1);
    EXPECT_FALSE(last.isStarted);
    EXPECT_FALSE(last.isComplete);
    EXPECT_EQ(last.error, "no processes left");
}

TEST_F(Jobs, End_StopsWhatRunsAndAnswersWhoWaits) {
    const sGate hangs;
    const auto start = [&] { return startBehind(hangs, "", 0); };
    add(eJobKind::HISTORY, "runs", start);
    add(eJobKind::HISTORY, "waits", start);
    jobs.run(nowS);
    jobs.end(nowS);
    EXPECT_EQ(done, (std::vector<std::string>{"runs", "waits"}));
    EXPECT_FALSE(last.isStarted);
    EXPECT_FALSE(add(eJobKind::HISTORY, "late", start));
}
