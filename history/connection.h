#ifndef HISTORY_CONNECTION_H
#define HISTORY_CONNECTION_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "observed/event.h"

// From (included) to to (not included), seconds since the epoch.
struct sTimeRange {
    time_t from = 0;
    time_t to = 0;
};

// A time without a connection although data was wanted.
struct sOutage {
    time_t from = 0;
    time_t to = 0;             // 0: lasts
    std::string cause;         // id of the problem, "" if none was found
    std::string text;          // the cause in words
    bool endsUnknown = false;  // the status was lost before the connection came back
    long long durationS(time_t now) const { return (to != 0 ? to : now) - from; }
};

// How much of a range the slot was connected. What is left to the length of the range is not known.
struct sAvailability {
    long long connectedS = 0;
    long long knownS = 0;
};

// The connection over time, from the events of the journal: right to the second.
struct sConnection {
    std::vector<sOutage> outages;  // the oldest first
    sAvailability availability;
};

// The connection after the events that it has taken.
class cConnectionState {
  public:
    void take(const sEvent& event);
    bool isKnown() const { return m_last.has_value(); }
    // An event that says the same again, for who does not know the events before.
    std::optional<sEvent> continued(time_t at) const;

  private:
    std::optional<sEvent> m_last;
};

// events: in the order of time. end: of what is known; an outage that lasts then has no end, unless
// the range goes on for more than two minutes of which nothing is known. Events after end and after
// the range are those of a clock that was ahead, and left out.
sConnection connectionIn(const std::vector<sEvent>& events, const sTimeRange& range, time_t end);

#endif
