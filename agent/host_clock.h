#ifndef AGENT_HOST_CLOCK_H
#define AGENT_HOST_CLOCK_H

#include <ctime>

#include "cli/base/places.h"

// Whether the time of day may be relied on. A host without a battery starts with the time at which
// it was switched off, or years back, until something sets its clock: a deadline that has passed
// would seem to be ahead. The clock is sure when a time service says that it is synchronised, when
// it agrees with the clock of a battery from which it was set, or so long after the start of the
// host that whatever sets it has had its time.
bool isClockSure(const sPlaces& places, time_t wall, long long runS);

constexpr long long CLOCK_SET_WITHIN_S = 600;
// A host whose clock is before this has not set it yet: no deadline can be judged.
constexpr time_t CLOCK_SET_AFTER = 1795305600;  // 22 November 2026

#endif
