#ifndef CLI_STATUS_STATUS_SCREEN_H
#define CLI_STATUS_STATUS_SCREEN_H

#include <string>
#include <vector>

#include "cli/status/diagnosis.h"
#include "cli/status/slot_report.h"

// The status for people, in lines of at most SCREEN_WIDTH columns, without line ends. Problems come
// first.

using tLines = std::vector<std::string>;

// One slot in full.
tLines slotScreen(const sSlotReport& report);

// Several slots: their problems, then a table with a line for each.
tLines slotsScreen(const std::vector<sSlotReport>& reports);

// The parts of both, for the live screen.
tLines slotsProblems(const std::vector<sSlotReport>& reports);
tLines slotsTable(const std::vector<sSlotReport>& reports);
std::string slotHeadline(const sSlotReport& report, const sDiagnosis& diagnosis);
tLines problemLines(const sDiagnosis& diagnosis);
// What needs no more than "cellslot status --json" has: a slot of another host is shown the same
// way.
tLines sharedDetails(const sSlotReport& report, const sDiagnosis& diagnosis);
// Adds a line as those of the details, wrapped; none for an empty value.
void addRow(tLines& lines, const std::string& label, const std::string& value);
tLines slotDetails(const sSlotReport& report, const sDiagnosis& diagnosis);

#endif
