#include "sms/wall_clock.h"

#include "include/sleep.h"

namespace {

constexpr long NS_PER_US = 1000;
constexpr long NS_PER_S = 1000000000;

// A signal ends a sleep early.
constexpr int SLEEPS_MAX = 3;

timespec systemWallClock() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

tWallClock g_wallClock = systemWallClock;

}  // namespace

timespec wallClockNow() {
    return g_wallClock();
}

void setWallClock(tWallClock clock) {
    g_wallClock = clock != nullptr ? clock : systemWallClock;
}

std::string fileTimeText() {
    const time_t now = wallClockNow().tv_sec;
    tm local{};
    tzset();
    localtime_r(&now, &local);
    char text[32];
    return {text, strftime(text, sizeof text, "%Y%m%d-%H%M%S", &local)};
}

void sleepToNextSecond() {
    const time_t second = wallClockNow().tv_sec;
    for (int i = 0; i < SLEEPS_MAX; ++i) {
        const timespec now = wallClockNow();
        if (now.tv_sec != second) return;
        sleepMicroseconds(static_cast<unsigned>((NS_PER_S - now.tv_nsec) / NS_PER_US + 1));
    }
}
