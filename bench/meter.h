#ifndef BENCH_METER_H
#define BENCH_METER_H

#include <functional>

// Measures the daemon's own code. The simulated modem runs in the same process whenever the daemon
// sleeps; its share is excluded from the processor time, and under callgrind from the instructions.

// Runs the work and returns the processor time of this thread that it took, in seconds.
double measure(const std::function<void()>& work);

// Runs work outside of any measurement, also while one is in progress.
void unmeasured(const std::function<void()>& work);

#endif
