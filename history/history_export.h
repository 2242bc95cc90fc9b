#ifndef HISTORY_HISTORY_EXPORT_H
#define HISTORY_HISTORY_EXPORT_H

#include <string>
#include <vector>

#include "history/slot_history.h"

// The history for programs: JSON objects on one line, and CSV with a line of names first. Times are
// seconds since the epoch. What is not known is null, or an empty field.

constexpr size_t EXPORT_POINTS_MAX = 1000;

std::string historyJson(const cSlotHistory& history, int slot, const sTimeRange& range);
std::string outagesJson(const std::vector<sOutage>& outages);
std::string eventsJson(const std::vector<sEvent>& events);
std::string usageJson(const std::vector<sUsageLine>& lines);
// {"source":"rsrp","unit":"dBm","step_s":60,"points":[[time,average,least,greatest],...]}
std::string seriesJson(const sSeries& series);

// For the page of a gateway (web/history_program.h): all sources at the same times. Of more outages
// the latest; outages_total is how many there were. A slot without a history has no times.
constexpr size_t PAGE_POINTS_MAX = 300;
constexpr size_t PAGE_OUTAGES_MAX = 1000;
std::string pageJson(const cSlotHistory& history, const sTimeRange& range);

std::string historyCsv(const cSlotHistory& history, const sTimeRange& range);
std::string outagesCsv(const std::vector<sOutage>& outages);
std::string eventsCsv(const std::vector<sEvent>& events);
std::string usageCsv(const std::vector<sUsageLine>& lines);

#endif
