#ifndef HISTORY_SNAPSHOT_H
#define HISTORY_SNAPSHOT_H

#include <memory>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "history/ledger.h"
#include "history/pending.h"
#include "history/rrd_image.h"

// The files of a slot as of one moment, with what is pending, and with a commit that is under way
// done in the copies. It waits for nobody: a commit is over in milliseconds.
struct sSnapshot {
    enum class eState { GOOD, MISSING, NOT_PERMITTED, DAMAGED };
    eState state = eState::MISSING;
    std::string defect;
    std::vector<std::unique_ptr<cRrdImage>> stores;  // as STORES
    std::vector<sEvent> events;                      // the oldest first
    cLedger ledger;
    time_t end = 0;  // of the last figure
};

void takeSnapshot(const sPlaces& places, int slot, sSnapshot& snapshot);

#endif
