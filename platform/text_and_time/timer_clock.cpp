#include "platform/include/timer_clock.h"

#include <ctime>

namespace {

// Static, because the guard of a stack with an address taken costs as much as reading the clock.
timespec g_now;

uint64_t steadyClockMs() {
    constexpr uint64_t MS_PER_S = 1000;
    constexpr uint64_t NS_PER_MS = 1000000;
    clock_gettime(CLOCK_MONOTONIC, &g_now);
    return static_cast<uint64_t>(g_now.tv_sec) * MS_PER_S +
           static_cast<uint64_t>(g_now.tv_nsec) / NS_PER_MS;
}

tTimerClock g_clock = steadyClockMs;

}  // namespace

void setTimerClock(tTimerClock clock) {
    g_clock = clock != nullptr ? clock : steadyClockMs;
}

uint64_t timerClockMs() {
    return g_clock();
}
