#ifndef HISTORY_PENDING_H
#define HISTORY_PENDING_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "history/window.h"
#include "observed/event.h"

// What is not on the disk yet. It is also in a file in memory (/run), so that a reader sees it and
// a service that is killed loses nothing: only a power cut does. Lines:
//   generation 7        the commit that will contain it
//   w 1795246940 ...    a window (window.h)
//   e {"time":...}      an event
//   c 4 1 2 3 4 5       the last counters (sCounters); "-" is not known
struct sPending {
    uint64_t generation = 1;
    std::map<time_t, sWindow> windows;  // by their end
    std::vector<sEvent> events;
    sCounters counters;

    bool isEmpty() const { return windows.empty() && events.empty(); }
    sWindow& windowAt(time_t end);
    // The end of what is known, at least before: of the last whole window, or the last event.
    time_t end(time_t before) const;
    // Moves what was seen from the host's start (included) to now by a clock that was wrong,
    // windows to the nearest one. What an earlier start of the host left has its right time.
    void shift(long long seconds, time_t hostStart, time_t now);
    // Drops the oldest of what is too much: three hours, as before a clock is set at last. The
    // number of events that were dropped.
    size_t trim();

    std::string text() const;
    // What is no line of such a file is left out.
    static sPending parse(const std::string& text);
};

std::string countersLine(const sCounters& counters);

constexpr size_t PENDING_BYTES_MAX = 2 * 1024 * 1024;

#endif
