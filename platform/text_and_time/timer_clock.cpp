#include "platform/include/timer_clock.h"

#include <chrono>

namespace {

uint64_t steadyClockMs() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

tTimerClock g_clock = steadyClockMs;

}  // namespace

void setTimerClock(tTimerClock clock) {
    g_clock = clock != nullptr ? clock : steadyClockMs;
}

uint64_t timerClockMs() {
    return g_clock();
}
