#ifndef BENCH_METER_H
#define BENCH_METER_H

#include <functional>

// What the daemon's own code costs. The stand-in for the modem runs in the same process, whenever
// the daemon sleeps: its share is left out of the processor time, and under callgrind of the
// instructions.

// Runs the work and returns the processor time of this thread that it took, in seconds.
double measure(const std::function<void()>& work);

// Runs work that belongs to no measurement, whether one is going on or not.
void unmeasured(const std::function<void()>& work);

#endif
