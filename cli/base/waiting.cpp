#include "cli/base/waiting.h"

#include <chrono>
#include <iterator>
#include <thread>

namespace {

constexpr std::chrono::milliseconds STEP(100);

volatile sig_atomic_t s_signalSeen = 0;

void noteSignal(int number) {
    s_signalSeen = number;
}

}  // namespace

cInterruption::cInterruption() {
    s_signalSeen = 0;
    struct sigaction action {};
    action.sa_handler =
        noteSignal;  // without SA_RESTART, so that it also ends a read from the terminal
    for (size_t i = 0; i < std::size(SIGNALS); ++i)
        sigaction(SIGNALS[i], &action, &m_before[i]);
}

cInterruption::~cInterruption() {
    for (size_t i = 0; i < std::size(SIGNALS); ++i)
        sigaction(SIGNALS[i], &m_before[i], nullptr);
}

int cInterruption::signalSeen() {
    return s_signalSeen;
}

bool waitFor(double seconds, const std::function<bool()>& condition) {
    using tClock = std::chrono::steady_clock;
    const tClock::time_point start = tClock::now();
    while (!condition()) {
        if (s_signalSeen != 0) return false;
        const std::chrono::duration<double> passed = tClock::now() - start;
        if (seconds != FOR_EVER && passed.count() >= seconds) return false;
        std::this_thread::sleep_for(STEP);
    }
    return true;
}
