#ifndef HISTORY_HISTORY_PATHS_H
#define HISTORY_HISTORY_PATHS_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// The files of a slot's history, and what one commit puts on the disk.
constexpr const char* HISTORY_FOLDER = "/var/lib/cellslot/history";
// In memory: what is not on the disk yet.
constexpr const char* HISTORY_RUN_FOLDER = "/run/cellslot-history";

// Figures: "1.rrd", "1-slow.rrd" (layout.h).
std::string eventsName(int slot);       // "1.events": the journal
std::string olderEventsName(int slot);  // "1.events.1": the part before it
std::string usageName(int slot);        // "1.usage"
std::string redoName(int slot);         // "1.redo": a commit that is under way (redo.h)

std::string historyPath(const sPlaces& places, const std::string& name);
std::string pendingPath(const sPlaces& places, int slot);

// Everything that there may be on the disk for the slot.
std::vector<std::string> historyNames(int slot);

#endif
