#include "bench/meter.h"

#include <valgrind/callgrind.h>

#include <ctime>

namespace {

struct sMeterState {
    bool running = false;
    double leftOutS = 0;
};

sMeterState g_meterState;

double processorTimeS() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

double measure(const std::function<void()>& work) {
    g_meterState = {true, 0};
    const double start = processorTimeS();
    CALLGRIND_TOGGLE_COLLECT;
    work();
    CALLGRIND_TOGGLE_COLLECT;
    const double end = processorTimeS();
    g_meterState.running = false;
    return end - start - g_meterState.leftOutS;
}

void unmeasured(const std::function<void()>& work) {
    if (!g_meterState.running) return work();
    CALLGRIND_TOGGLE_COLLECT;
    const double start = processorTimeS();
    work();
    g_meterState.leftOutS += processorTimeS() - start;
    CALLGRIND_TOGGLE_COLLECT;
}
