#ifndef PLATFORM_INCLUDE_TIMER_CLOCK_H
#define PLATFORM_INCLUDE_TIMER_CLOCK_H

#include <cstdint>

// The clock behind every cTimer, in milliseconds from any fixed point. Tests put their own in its
// place; a null pointer brings the steady clock back.
using tTimerClock = uint64_t (*)();

void setTimerClock(tTimerClock clock);
uint64_t timerClockMs();

#endif
