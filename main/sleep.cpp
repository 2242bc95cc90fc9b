#include "include/sleep.h"

#include <ctime>

namespace {

// usleep reaches this function through two others. The daemon sleeps more often than it does almost
// anything else, each time with cold caches.
void systemSleep(unsigned microseconds) {
    constexpr unsigned US_PER_S = 1000000;
    constexpr unsigned NS_PER_US = 1000;
    const timespec wait{static_cast<time_t>(microseconds / US_PER_S),
                        static_cast<long>(microseconds % US_PER_S * NS_PER_US)};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &wait, nullptr);
}

void (*g_sleepFunction)(unsigned) = systemSleep;

}  // namespace

void sleepMicroseconds(unsigned microseconds) {
    g_sleepFunction(microseconds);
}

void setSleepFunction(void (*function)(unsigned)) {
    g_sleepFunction = function != nullptr ? function : systemSleep;
}
