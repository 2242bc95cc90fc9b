#include "platform/include/timer.h"

#include <algorithm>
#include <limits>

#include "platform/include/timer_clock.h"

namespace {

constexpr uint64_t MS_PER_S = 1000;

}  // namespace

cTimer::cTimer(int /*type*/, unsigned periodS) : m_periodS(periodS) {}

void cTimer::Start() {
    m_startedMs = timerClockMs();
    m_enabled = true;
}

void cTimer::Stop() {
    m_enabled = false;
}

void cTimer::SetTimeout(unsigned periodS) {
    m_periodS = periodS;
}

unsigned cTimer::GetTimeout() const {
    return m_periodS;
}

bool cTimer::IsTimerEnabled() const {
    return m_enabled;
}

bool cTimer::IsTimerRunning() const {
    return m_enabled && GetElapsedTime() < m_periodS;
}

bool cTimer::IsTimerDone() const {
    return !IsTimerRunning();
}

unsigned cTimer::GetElapsedTime() const {
    if (!m_enabled) return 0;
    const uint64_t now = timerClockMs();
    if (now < m_startedMs) return 0;  // only the clock of a test goes back
    const uint64_t elapsedS = (now - m_startedMs) / MS_PER_S;
    return static_cast<unsigned>(
        std::min<uint64_t>(elapsedS, std::numeric_limits<unsigned>::max()));
}
