#include <gtest/gtest.h>

#include <thread>

#include "platform/include/timer.h"
#include "platform/include/timer_clock.h"

namespace {

uint64_t g_nowMs = 0;

uint64_t fakeClockMs() {
    return g_nowMs;
}

class Timer : public testing::Test {
  protected:
    void SetUp() override {
        g_nowMs = 1'000'000;
        setTimerClock(fakeClockMs);
    }
    void TearDown() override { setTimerClock(nullptr); }

    static void expect(const cTimer& timer, bool enabled, bool running, bool done,
                       unsigned elapsedS) {
        EXPECT_EQ(timer.IsTimerEnabled(), enabled);
        EXPECT_EQ(timer.IsTimerRunning(), running);
        EXPECT_EQ(timer.IsTimerDone(), done);
        EXPECT_EQ(timer.GetElapsedTime(), elapsedS);
    }
};

}  // namespace

TEST_F(Timer, Constructed_IsStoppedAndDone) {
    const cTimer timer(0, 10);
    g_nowMs += 20'000;
    expect(timer, false, false, true, 0);
    EXPECT_EQ(timer.GetTimeout(), 10u);
}

TEST_F(Timer, Started_RunsUntilItsPeriodIsOver) {
    cTimer timer(0, 10);
    timer.Start();
    expect(timer, true, true, false, 0);
    g_nowMs += 9'999;
    expect(timer, true, true, false, 9);
    g_nowMs += 1;
    expect(timer, true, false, true, 10);
}

TEST_F(Timer, Expired_StaysEnabledAndKeepsCounting) {
    cTimer timer(0, 10);
    timer.Start();
    g_nowMs += 3'600'000;
    expect(timer, true, false, true, 3600);
}

TEST_F(Timer, Stopped_IsDoneWithNothingElapsed) {
    cTimer timer(0, 10);
    timer.Start();
    g_nowMs += 5'000;
    timer.Stop();
    expect(timer, false, false, true, 0);
}

TEST_F(Timer, StartedAgain_CountsFromZero) {
    for (const unsigned beforeMs : {5'000u, 15'000u}) {  // while running, and after expiry
        cTimer timer(0, 10);
        timer.Start();
        g_nowMs += beforeMs;
        timer.Start();
        expect(timer, true, true, false, 0);
        g_nowMs += 9'000;
        expect(timer, true, true, false, 9);
    }
}

TEST_F(Timer, StoppedAndStarted_CountsFromZero) {
    cTimer timer(0, 10);
    timer.Start();
    g_nowMs += 15'000;
    timer.Stop();
    timer.Start();
    expect(timer, true, true, false, 0);
}

TEST_F(Timer, ZeroPeriod_IsDoneAtOnceAndCounts) {
    cTimer timer;
    expect(timer, false, false, true, 0);
    timer.Start();
    expect(timer, true, false, true, 0);
    g_nowMs += 61'500;
    expect(timer, true, false, true, 61);
}

TEST_F(Timer, SetTimeout_NeitherStartsNorStops) {
    cTimer timer(0, 10);
    timer.SetTimeout(20);
    expect(timer, false, false, true, 0);
    timer.Start();
    g_nowMs += 15'000;
    expect(timer, true, true, false, 15);
    timer.SetTimeout(15);
    expect(timer, true, false, true, 15);
    timer.SetTimeout(30);
    expect(timer, true, true, false, 15);
    EXPECT_EQ(timer.GetTimeout(), 30u);
}

TEST_F(Timer, LongestTime_IsLimitedToTheLargestNumber) {
    cTimer timer(0, ~0u);
    timer.Start();
    g_nowMs += 5'000'000'000'000'000;
    expect(timer, true, false, true, ~0u);
}

TEST_F(Timer, MillisecondsBeyond32Bits_RunOnLikeOthers) {
    for (const uint64_t wrapMs : {uint64_t{1} << 31, uint64_t{1} << 32}) {
        cTimer timer(0, 600);
        g_nowMs = wrapMs - 300 * 1000;
        timer.Start();
        g_nowMs = wrapMs + 299 * 1000;
        EXPECT_TRUE(timer.IsTimerRunning()) << wrapMs;
        EXPECT_EQ(timer.GetElapsedTime(), 599U) << wrapMs;
        g_nowMs = wrapMs + 300 * 1000;
        EXPECT_TRUE(timer.IsTimerDone()) << wrapMs;
    }
}

TEST_F(Timer, ClockThatGoesBack_CountsAsNothingElapsed) {
    cTimer timer(0, 10);
    timer.Start();
    g_nowMs -= 5'000;
    expect(timer, true, true, false, 0);
}

TEST_F(Timer, OwnClock_AdvancesInMilliseconds) {
    setTimerClock(nullptr);
    const uint64_t beforeMs = timerClockMs();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const uint64_t passedMs = timerClockMs() - beforeMs;
    EXPECT_GE(passedMs, 20u);
    EXPECT_LT(passedMs, 60'000u);
}
