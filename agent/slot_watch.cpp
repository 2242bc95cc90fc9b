#include "agent/slot_watch.h"

#include <cstdlib>
#include <utility>

#include "cli/base/display_text.h"
#include "cli/base/utc_time.h"
#include "observed/reading.h"

namespace {

constexpr long long CLOCK_STEP_S = 2;  // less is rounding, or a clock that is steered

// What a flapping network brings; what else happens is rare, or has to be known.
constexpr const char* BOUNDED_KINDS[] = {EVENT_REGISTRATION, EVENT_ROAMING,     EVENT_NETWORK,
                                         EVENT_TECHNOLOGY,   EVENT_TEMPERATURE, EVENT_CAUSE};

}  // namespace

void cSlotWatch::watchClock(const sAgentClock& clock, std::vector<sEvent>& events) {
    const long long offset = clock.wall - clock.runS;
    const long long step = offset - std::exchange(m_offset, offset);
    if (!std::exchange(m_isStarted, true) || std::llabs(step) <= CLOCK_STEP_S) return;
    m_watch.shift(step);
    m_lastKnown += step;
    const std::string how = isTimeKnown(clock.wall - step)
                                ? durationText(std::llabs(step)) + (step > 0 ? " forward" : " back")
                                : "for the first time since the host's start";
    events.push_back(eventOf(clock.wall, EVENT_CLOCK, "The host's clock was set " + how + "."));
}

bool cSlotWatch::isFrequent(const sEvent& event, long long runS) {
    for (const char* kind : BOUNDED_KINDS) {
        if (event.kind != kind) continue;
        sFrequency& frequency = m_frequencies[kind];
        if (frequency.count == 0 || runS - frequency.sinceS >= EVENTS_PER_S) frequency = {runS, 0};
        return ++frequency.count > EVENTS_MAX;
    }
    return false;
}

std::vector<sEvent> cSlotWatch::look(const sAgentClock& clock) {
    std::vector<sEvent> events;
    watchClock(clock, events);
    sMoment moment = currentMoment();
    moment.now = clock.wall;
    m_report = reportSlot(m_places, m_slot, moment);
    m_status.look(m_report, clock.runS);
    const bool isFresh =
        m_report.isGood() && m_report.ageS && std::llabs(*m_report.ageS) <= STALE_AFTER_S;
    if (isFresh) {
        m_lastKnown = clock.wall;
        m_watch.follow(readSlot(m_places, m_slot, m_report.file.record), clock.wall, events);
    } else if (m_report.file.state == eStatusFile::MISSING) {
        m_watch.lose(clock.wall, "The daemon has ended; what follows is not known.", events);
    } else if (m_report.isStale()) {
        m_watch.lose(m_lastKnown,
                     "The daemon no longer updates its status; what follows is not known.", events);
    }
    std::vector<sEvent> kept;
    for (const sEvent& event : events)
        if (!isFrequent(event, clock.runS)) kept.push_back(event);
    return kept;
}
