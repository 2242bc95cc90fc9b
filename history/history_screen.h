#ifndef HISTORY_HISTORY_SCREEN_H
#define HISTORY_HISTORY_SCREEN_H

#include <string>
#include <vector>

#include "history/slot_history.h"

// What `cellslot history` shows, as lines of at most SCREEN_WIDTH columns. Times are local.

// "Slot 1  from 2026-11-21 20:05 to 2026-11-22 20:05"
std::string historyTitle(int slot, const sTimeRange& range);

// One screen about the range; now: the time of showing.
std::vector<std::string> historyScreen(const cSlotHistory& history, int slot,
                                       const sTimeRange& range, time_t now);
std::vector<std::string> outageLines(const std::vector<sOutage>& outages, time_t now);
std::vector<std::string> eventLines(const std::vector<sEvent>& events);
std::vector<std::string> usageLines(const std::vector<sUsageLine>& lines);

// "1.2 MB"
std::string bytesText(double bytes);

#endif
