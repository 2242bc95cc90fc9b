#ifndef PLATFORM_INCLUDE_TIMER_CLOCK_H
#define PLATFORM_INCLUDE_TIMER_CLOCK_H

#include <cstdint>

// The clock that every cTimer reads, in milliseconds from any fixed point. Tests set their own; a
// null pointer restores the steady clock.
using tTimerClock = uint64_t (*)();

void setTimerClock(tTimerClock clock);
uint64_t timerClockMs();

#endif
