#ifndef AGENT_SLOT_WATCH_H
#define AGENT_SLOT_WATCH_H

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "agent/status_feed.h"
#include "cli/base/places.h"
#include "observed/event_watch.h"

// The time of day, and seconds that only go forward and also count while the host sleeps.
struct sAgentClock {
    time_t wall = 0;
    long long runS = 0;
    bool isSure = true;  // the time of day may be relied on (host_clock.h)
};

// Follows one slot: its status and what happens to it.
class cSlotWatch {
  public:
    cSlotWatch(const sPlaces& places, int slot) : m_places(places), m_slot(slot) {}

    // Returns what has happened since the last look.
    std::vector<sEvent> look(const sAgentClock& clock);

    cStatusFeed& status() { return m_status; }
    const sSlotReport& report() const { return m_report; }

  private:
    void watchClock(const sAgentClock& clock, std::vector<sEvent>& events);
    bool isFrequent(const sEvent& event, long long runS);

    // Of one kind; a modem between two networks must not fill the spool.
    static constexpr unsigned EVENTS_MAX = 12;
    static constexpr long long EVENTS_PER_S = 3600;
    struct sFrequency {
        long long sinceS = 0;
        unsigned count = 0;
    };

    const sPlaces m_places;
    const int m_slot;
    sSlotReport m_report;
    cStatusFeed m_status;
    cEventWatch m_watch;
    time_t m_lastKnown = 0;
    bool m_isStarted = false;
    long long m_offset = 0;
    std::map<std::string, sFrequency> m_frequencies;
};

#endif
