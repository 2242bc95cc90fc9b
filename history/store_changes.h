#ifndef HISTORY_STORE_CHANGES_H
#define HISTORY_STORE_CHANGES_H

#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "history/layout.h"
#include "history/redo.h"
#include "history/rrd_image.h"
#include "history/window.h"

using tWindows = std::map<time_t, sWindow>;

// Where the windows begin, at the latest now: a new file begins there. librrd walks through every
// step from the begin on, so that must not be a clock that is not set.
time_t windowsBegin(const tWindows& windows, time_t now);

// The updates that windows mean for a store whose last update was at last; gaps between them are
// updates that say so. Windows whose time is not known, and those not after last, are left out.
std::vector<cRrdImage::sUpdate> updatesOf(const sStore& store, const tWindows& windows,
                                          time_t last);

// Adds to redo the blocks of the slot's RRD file that change with these windows. A file whose last
// update is in the future, since the clock was wrong, is first cut back to the begin of the
// windows. False: error says why.
bool addStoreChanges(const sPlaces& places, int slot, const sStore& store, const tWindows& windows,
                     time_t now, cRedo& redo, std::string& error);

#endif
