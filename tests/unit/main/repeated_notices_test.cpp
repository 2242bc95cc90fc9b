#include "include/repeated_notices.h"

#include <gtest/gtest.h>

#include <string>

#include "include/debug.h"
#include "platform/include/timer_clock.h"
#include "tests/support/in_pass.h"
#include "tests/support/log_mode.h"

namespace {

uint64_t g_nowMs = 0;

class RepeatedNotices : public ::testing::Test {
  protected:
    RepeatedNotices() {
        resetRepeatedNotices();
        g_nowMs = 1000;
        setTimerClock([] { return g_nowMs; });
    }
    ~RepeatedNotices() override {
        setTimerClock(nullptr);
        resetRepeatedNotices();
    }

    static void pass(const char* text) {
        inPass(eWORK_PASS, [&] { say(text); });
    }
    static void poll(const char* text) {
        inPass(eWORK_POLL, [&] { say(text); });
    }
    static void say(const char* text) {
        if (text != nullptr) notice(text);
    }

    cLogMode m_mode;
};

constexpr const char* SILENT = nullptr;

TEST_F(RepeatedNotices, OutsideOfAPass_EachOneIsLogged) {
    for (int i = 0; i < 3; ++i) {
        const cRepeatedRun poll(eWORK_POLL);
        notice("refused");
    }
    EXPECT_EQ(logCount("refused"), 3U);
}

TEST_F(RepeatedNotices, SameInEachPass_IsLoggedOnce) {
    for (int i = 0; i < 5; ++i) {
        const cRepeatedRun pass(eWORK_PASS);
        notice("port");
        const cRepeatedRun poll(eWORK_POLL);
        notice("refused");
    }
    EXPECT_EQ(logCount("port"), 1U);
    EXPECT_EQ(logCount("refused"), 1U);
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(RepeatedNotices, AfterAPassWithoutIt_IsLoggedAgain) {
    for (const char* text : {"refused", "refused", SILENT, "refused", "refused"})
        poll(text);
    EXPECT_EQ(logCount("refused"), 2U);
    for (const char* text : {"port", "port", SILENT, "port", "port"})
        pass(text);
    EXPECT_EQ(logCount("port"), 2U);
}

TEST_F(RepeatedNotices, OtherContent_IsLogged) {
    for (const char* text : {"error 10", "error 11", "error 11"})
        poll(text);
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{"error 10", "error 11"}));
}

TEST_F(RepeatedNotices, PollThatFailsDifferentlyInBetween_IsLoggedEachTime) {
    for (const char* text : {"one", "other", "one"})
        poll(text);
    EXPECT_EQ(capturedLog().size(), 3U);
}

TEST_F(RepeatedNotices, PassesThatAlternate_AreLoggedOnce) {
    for (int i = 0; i < 10; ++i) {
        pass("session started");
        pass("session lost");
    }
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(RepeatedNotices, TwiceInOneRun_IsLoggedTwiceTheFirstTimeOnly) {
    for (int i = 0; i < 3; ++i)
        inPass(eWORK_POLL, [] {
            notice("refused");
            notice("refused");
        });
    EXPECT_EQ(logCount("refused"), 2U);
}

TEST_F(RepeatedNotices, Repetition_IsLoggedUnderTheCategoryOfTheWork) {
    poll("refused");
    g_i_debugMode = eLOG_AT_DETAIL;
    testing::internal::CaptureStdout();
    poll("refused");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "DEBUG: refused\n");
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{"refused", "DEBUG: refused"}));
    g_i_debugMode = eLOG_SMS;
    poll("refused");
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(RepeatedNotices, Repetition_IsLoggedUnderTheOtherCategoryOfTheNotice) {
    const uint64_t category = eLOG_NOTICE | eLOG_GPS;
    unsigned char done = 0;
    const auto run = [&] {
        inPass(eWORK_POLL, [&] { done = debug(category, g_i_debugMode, "receiver"); });
    };
    run();
    EXPECT_EQ(done, DEBUG_SENT_TO_SYSLOG);
    run();
    EXPECT_EQ(done, 0);
    testing::internal::CaptureStdout();
    g_i_debugMode = eLOG_GPS;
    run();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(done, DEBUG_SENT_TO_SYSLOG | DEBUG_PRINTED | DEBUG_PREFIXED);
}

TEST_F(RepeatedNotices, Errors_AreTreatedLikeNotices) {
    testing::internal::CaptureStdout();
    for (int i = 0; i < 3; ++i)
        inPass(eWORK_PASS, [] { debug(eLOG_ERROR, g_i_debugMode, "broken"); });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "broken\n");
    EXPECT_EQ(logCount("broken"), 1U);
}

TEST_F(RepeatedNotices, RunThatOnlyWaited_ForgetsNothing) {
    const auto session = [](const char* text) {
        const cRepeatedRun pass(eWORK_PASS);
        cRepeatedRun run(eWORK_SESSION);
        if (text != nullptr)
            notice(text);
        else
            run.nothingTried();
    };
    for (const char* text : {"failed", SILENT, SILENT, SILENT, "failed"})
        session(text);
    EXPECT_EQ(logCount("failed"), 1U);
}

TEST_F(RepeatedNotices, MessagesOfAPassCausedByAWaitingSession_AreLoggedOnce) {
    for (int i = 0; i < 200; ++i) {
        g_nowMs += 500;
        const cRepeatedRun pass(eWORK_PASS);
        {
            cRepeatedRun session(eWORK_SESSION);
            if (i % 60 == 0)
                notice("failed");
            else
                session.nothingTried();
        }
        if (i % 60 == 0) notice("closing port");
        if (i % 60 == 1) notice("opened port");
    }
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{"failed", "closing port", "opened port"}));
}

// It has no consequences in the pass, so the pass is compared by itself.
TEST_F(RepeatedNotices, MessagesOfAPassNotCausedByAFailingWork_AreLoggedAgain) {
    for (const char* text : {SILENT, "lost", SILENT, "lost"}) {
        const cRepeatedRun pass(eWORK_PASS);
        say(text);
        if (text != nullptr) continue;
        const cRepeatedRun check(eWORK_SMS);
        notice("no answer");
    }
    EXPECT_EQ(logCount("lost"), 2U);
    EXPECT_EQ(logCount("no answer"), 1U);
}

// Messages are listed every five seconds; when that fails, the port is closed.
TEST_F(RepeatedNotices, ConsequencesOfAWorkThatIsNotDoneInEachPass_AreLoggedOnce) {
    for (int i = 0; i < 100; ++i) {
        g_nowMs += 500;
        const cRepeatedRun pass(eWORK_PASS);
        if (i % 10 != 0) continue;
        const cRepeatedRun check(eWORK_SMS);
        notice("no answer");
        const cRepeatedRun none(eWORK_PASS);  // already in one
        EXPECT_EQ(logCount("no answer"), 1U);
    }
    for (int i = 0; i < 100; ++i) {
        g_nowMs += 500;
        const cRepeatedRun pass(eWORK_PASS);
        if (i % 10 == 0) {
            const cRepeatedRun check(eWORK_SMS);
            notice("no answer");
        }
        if (i % 10 == 0) notice("closing port");
        if (i % 10 == 1) notice("opened port");
    }
    EXPECT_EQ(logCount("no answer"), 1U);
    EXPECT_EQ(logCount("closing port"), 1U);
    EXPECT_EQ(logCount("opened port"), 1U);
}

TEST_F(RepeatedNotices, AfterTwoMinutes_IsLoggedAgain) {
    const auto failedCheck = [](const char* text) {
        const cRepeatedRun pass(eWORK_PASS);
        say(text);
        const cRepeatedRun check(eWORK_SMS);
        notice("no answer");
    };
    failedCheck("closing port");
    for (int i = 0; i < 13; ++i) {
        g_nowMs += 10000;
        inPass(eWORK_PASS, [] {});
    }
    failedCheck("closing port");
    EXPECT_EQ(logCount("closing port"), 2U);
    EXPECT_EQ(logCount("no answer"), 2U);
}

TEST_F(RepeatedNotices, SingleEvent_IsLoggedEachTime) {
    for (int i = 0; i < 3; ++i)
        inPass(eWORK_SMS, [] {
            notice("held");
            const cSingleEvent event;
            notice("sent");
            const cRepeatedRun inside(eWORK_POLL);
            notice("sent");
        });
    EXPECT_EQ(logCount("sent"), 6U);
    EXPECT_EQ(logCount("held"), 1U);
}

TEST_F(RepeatedNotices, MessagesThatDifferInNumbersOnly_AreRepetitions) {
    for (int i = 0; i < 3; ++i)
        inPass(eWORK_SMS, [&] {
            const cVaryingNumbers times;
            notice(("file of " + std::to_string(100 + i * 12)).c_str());
        });
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"file of 100"});
    inPass(eWORK_SMS, [] { notice("file of 124"); });
    EXPECT_EQ(capturedLog().size(), 2U);
}

TEST_F(RepeatedNotices, MoreMessagesThanFit_AreLoggedOnceToo) {
    constexpr int MANY = 500;
    const auto flood = [] {
        for (int i = 0; i < MANY; ++i)
            notice(("message " + std::to_string(i)).c_str());
    };
    for (int i = 0; i < 4; ++i)
        inPass(eWORK_SMS, flood);
    EXPECT_EQ(capturedLog().size(), size_t{MANY});
    inPass(eWORK_SMS, [] {});
    inPass(eWORK_SMS, flood);
    EXPECT_EQ(capturedLog().size(), size_t{2 * MANY});
}

}  // namespace
