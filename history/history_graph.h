#ifndef HISTORY_HISTORY_GRAPH_H
#define HISTORY_HISTORY_GRAPH_H

#include <string>

#include "cli/base/places.h"
#include "history/slot_history.h"

enum class eGraph { PNG, SVG };

// A picture of the signal and of the connection, drawn by librrd. Throws cFailure.
std::string drawHistory(const sPlaces& places, int slot, const sTimeRange& range, eGraph kind);

#endif
