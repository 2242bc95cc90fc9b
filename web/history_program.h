#ifndef WEB_HISTORY_PROGRAM_H
#define WEB_HISTORY_PROGRAM_H

#include <string>
#include <vector>

#include "http/job.h"

// The history is read by a program of its own: it needs librrd and some megabytes for a moment,
// which the server would keep. It prints JSON:
//   cellslot-web-history history SLOT RANGE
//     {"times": [S...], "series": {"rsrp": {"words", "unit", "average": [...], "least": [...],
//      "greatest": [...]}, ...}, "availability": {"connected_seconds", "known_seconds"},
//      "outages_total", "outages": [{"from", "to", "cause", "text", "ends_unknown"}],
//      "usage": {"received_bytes", "sent_bytes"}}
//   cellslot-web-history events SLOT
//     {"events": [{"time", "kind", "cause", "text"}]}, the oldest first
// Times are seconds since the epoch, those of a series the begins of its steps; what is not known
// is null.
constexpr const char* HISTORY_PROGRAM = "/usr/lib/cellslot/cellslot-web-history";

bool isHistoryRange(const std::string& text);  // "1h", "6h", "24h", "7d", "30d", "365d"
bool isSlotNumber(const std::string& text);

bool hasHistoryProgram(const std::string& program);

// Starts the program; what it prints is the work's output.
sWork startHistoryProgram(const std::string& program, const std::vector<std::string>& arguments);

#endif
