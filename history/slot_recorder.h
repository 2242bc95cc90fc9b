#ifndef HISTORY_SLOT_RECORDER_H
#define HISTORY_SLOT_RECORDER_H

#include <ctime>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "history/connection.h"
#include "history/ledger.h"
#include "history/pending.h"
#include "history/redo.h"
#include "observed/event_watch.h"
#include "observed/reading.h"

// The time of day, which may be set at any moment, and one that only goes on.
struct sClock {
    time_t wall = 0;
    long long runS = 0;
};

// A status holds until the next one comes, at most so long: the daemon writes every two seconds,
// but a message or a list of the networks can keep it for a minute.
constexpr long long STATUS_HOLDS_S = 90;

// Keeps the history of one slot: from readings of the status to the files.
class cSlotRecorder {
  public:
    cSlotRecorder(const sPlaces& places, int slot);

    // Takes up what an earlier run left. False: error says why nothing can be kept.
    bool start(const sClock& clock, std::string& error);
    void follow(const sReading& reading, const sClock& clock);
    // The status file is gone.
    void lose(const std::string& why, const sClock& clock);
    // Call it from time to time: notices that no status comes any more.
    void look(const sClock& clock);
    // Writes what is pending to the disk. True if there was nothing to write or all was written.
    bool commit(const sClock& clock, std::string& error);
    // The end of the service.
    bool stop(const sClock& clock, std::string& error);

    bool isFollowing() const { return m_watch.isFollowing(); }
    bool hasPending() const { return !m_pending.isEmpty(); }
    size_t bytesWritten() const { return m_bytesWritten; }

  private:
    bool prepareStores(time_t now, std::string& error);
    void settleClock(const sClock& clock);
    void hold(time_t to);
    void count(const sReading& reading, time_t now, bool isContinued);
    void loseAt(time_t lastKnown, const std::string& why);
    void publishPending(time_t now);
    void replacePending();
    bool needsNewJournal(size_t added) const;
    bool beginJournal(std::string& error);
    bool wasLost() const;
    void continueAfterStep(long long step);
    std::map<time_t, sWindow> completeWindows() const;
    bool addEvents(cRedo& redo, std::string& error);

    const sPlaces m_places;
    const int m_slot;
    sPending m_pending;
    cLedger m_ledger;
    cEventWatch m_watch;
    cConnectionState m_written;  // after the events on the disk
    sReading m_reading;          // the last one
    time_t m_readingAt = 0;      // 0: none
    long long m_offset = 0;      // of the time of day to the other
    bool m_isOffsetKnown = false;
    time_t m_publishedWindow = 0;
    size_t m_publishedEvents = 0;
    size_t m_publishedBytes = 0;
    size_t m_bytesWritten = 0;
};

#endif
