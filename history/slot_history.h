#ifndef HISTORY_SLOT_HISTORY_H
#define HISTORY_SLOT_HISTORY_H

#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "history/connection.h"
#include "history/usage.h"
#include "observed/event.h"
#include "observed/source.h"

// The history of a slot, read: what is on the disk together with what the service has not written
// yet. Needs no running service and no privileges; writes nothing.

// Of the seconds from time on, to the time of the next point. Not known: NaN, never 0.
struct sPoint {
    time_t time = 0;
    double average = 0;
    double least = 0;
    double greatest = 0;
};

struct sSeries {
    eSource source = eSource::RSRP;
    unsigned stepS = 0;  // between points
    std::vector<sPoint> points;
};

enum class eHistory {
    GOOD,
    MISSING,        // nothing was kept for the slot
    NOT_PERMITTED,  // the caller may not read it
    DAMAGED,        // not what the service writes
};

class cSlotHistory {
  public:
    // Reads the files of the slot. All answers are about that moment.
    cSlotHistory(const sPlaces& places, int slot);
    ~cSlotHistory();
    cSlotHistory(const cSlotHistory&) = delete;
    cSlotHistory& operator=(const cSlotHistory&) = delete;

    eHistory state() const;
    const std::string& defect() const;  // if not GOOD: what is wrong, a sentence without the end
    // Begin of the oldest and end of the latest figure; 0 if there is none.
    time_t begin() const;
    time_t end() const;

    // The finest series that the range has, of at most pointsMax points (at least 2). Points
    // without any figure are there, with NaN.
    sSeries series(eSource source, const sTimeRange& range, size_t pointsMax) const;

    // What an amount sums up to; NaN if none is known. Whole days of UTC are exact. In other parts
    // a row that is known in part counts as if all of it were alike.
    double amount(eSource source, const sTimeRange& range) const;

    // Events in the range, the oldest first; the latest countMax of them.
    std::vector<sEvent> events(const sTimeRange& range, size_t countMax) const;
    // Outages that touch the range, the oldest first, whole.
    std::vector<sOutage> outages(const sTimeRange& range) const;
    sAvailability availability(const sTimeRange& range) const;

    // Usage by day and by month, the oldest first. Days are kept for two months, months for three
    // years. A period counts if it touches the range.
    std::vector<sUsageLine> usageByDay(const sTimeRange& range) const;
    std::vector<sUsageLine> usageByMonth(const sTimeRange& range) const;

  private:
    double plottedAmount(eSource source, const sTimeRange& range) const;

    struct sState;
    std::unique_ptr<sState> m_state;
};

// The slots that have a history.
std::vector<int> slotsWithHistory(const sPlaces& places);

#endif
