#include "tests/support/fake_time.h"

#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "sms/wall_clock.h"

namespace {

cFakeTime* g_time = nullptr;

void sleepOnFakeTime(unsigned microseconds) {
    g_time->pass(microseconds);
}

uint64_t fakeClock() {
    return g_time->nowMs();
}

timespec fakeWallClock() {
    return g_time->wallClock();
}

}  // namespace

cFakeTime::cFakeTime() {
    clock_gettime(CLOCK_REALTIME, &m_start);
    g_time = this;
    setSleepFunction(sleepOnFakeTime);
    setTimerClock(fakeClock);
    setWallClock(fakeWallClock);
}

cFakeTime::~cFakeTime() {
    setSleepFunction(nullptr);
    setTimerClock(nullptr);
    setWallClock(nullptr);
    g_time = nullptr;
}

timespec cFakeTime::wallClock() const {
    constexpr uint64_t US_PER_S = 1000000;
    timespec now = m_start;
    const uint64_t us = static_cast<uint64_t>(m_start.tv_nsec) / 1000 + m_nowUs;
    now.tv_sec += static_cast<time_t>(us / US_PER_S);
    now.tv_nsec = static_cast<long>(us % US_PER_S * 1000);
    return now;
}

void cFakeTime::pass(uint64_t microseconds) {
    m_nowUs += microseconds;
    turn();
    if (m_onTurn) m_onTurn();
}
