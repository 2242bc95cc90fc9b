#ifndef HISTORY_SERVICE_H
#define HISTORY_SERVICE_H

#include <array>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "cli/base/places.h"
#include "history/slot_recorder.h"
#include "published/slot.h"

// One process follows the status files of all slots.

// At most 96 writes a day.
constexpr long long COMMIT_EVERY_S = 15 * 60;

class cHistoryService {
  public:
    // log: takes a line for the system's log.
    using tLog = void (*)(const std::string& line);
    cHistoryService(const sPlaces& places, tLog log);

    // Reads the slot's status file, as after each change of it.
    void readStatus(int slot, const sClock& clock);
    // What is due by now. Returns the seconds until something may be due again.
    long long work(const sClock& clock);
    void stop(const sClock& clock);

  private:
    cSlotRecorder* recorderOf(int slot, const sClock& clock);
    void report(int slot, const std::string& error);

    const sPlaces m_places;
    const tLog m_log;
    std::map<int, std::unique_ptr<cSlotRecorder>> m_recorders;
    std::map<int, std::string> m_reported;  // what was logged last of a slot
    long long m_offset = 0;
    long long m_nextCommitS = 0;
    bool m_isStarted = false;
};

// The slot of a name in the folder of the status files; 0 for any other name.
int slotOfStatusName(const std::string& name);

// Runs until SIGTERM or SIGINT. The exit status.
int runHistoryService();

#endif
