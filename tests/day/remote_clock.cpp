#include "tests/day/remote_clock.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "sms/wall_clock.h"
#include "tests/support/captured_log.h"

namespace {

struct sRemoteClock {
    int socket = -1;
    uint64_t startMs = 0;
    uint64_t nowMs = 0;  // since then
    time_t startS = 0;
    unsigned sleeps = 0;
};

sRemoteClock g_clock;

// The captured log would otherwise grow with the day.
constexpr unsigned SLEEPS_PER_LOG = 1000;

bool readWhole(int socket, uint64_t& value) {
    return read(socket, &value, sizeof value) == static_cast<ssize_t>(sizeof value);
}

void remoteSleep(unsigned microseconds) {
    const uint64_t asked = microseconds;
    // Without the modem's process the clock stands still.
    if (write(g_clock.socket, &asked, sizeof asked) != static_cast<ssize_t>(sizeof asked) ||
        !readWhole(g_clock.socket, g_clock.nowMs))
        _exit(EXIT_FAILURE);
    if (++g_clock.sleeps % SLEEPS_PER_LOG == 0) clearCapturedLog();
}

uint64_t remoteTimer() {
    return g_clock.startMs + g_clock.nowMs;
}

timespec remoteWallClock() {
    constexpr uint64_t MS_PER_S = 1000;
    constexpr uint64_t DAY_S = 86400;
    return {g_clock.startS + static_cast<time_t>(g_clock.nowMs / MS_PER_S % DAY_S),
            static_cast<long>(g_clock.nowMs % MS_PER_S) * 1000000};
}

}  // namespace

void useRemoteClock(int socket, uint64_t startMs) {
    g_clock.socket = socket;
    g_clock.startMs = startMs;
    g_clock.startS = time(nullptr);
    setSleepFunction(remoteSleep);
    setTimerClock(remoteTimer);
    setWallClock(remoteWallClock);
}

bool takeSleep(int socket, uint64_t& microseconds) {
    return readWhole(socket, microseconds);
}

void tellTime(int socket, uint64_t nowMs) {
    if (write(socket, &nowMs, sizeof nowMs) != static_cast<ssize_t>(sizeof nowMs))
        _exit(EXIT_FAILURE);
}
