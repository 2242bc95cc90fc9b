#ifndef CLI_STATUS_SCREEN_H
#define CLI_STATUS_SCREEN_H

#include <string>
#include <vector>

#include "cli/diagnosis.h"
#include "cli/slot_report.h"

// The status for people, in lines of at most SCREEN_WIDTH columns without line ends. What is wrong
// stands first.
constexpr size_t SCREEN_WIDTH = 80;

using tLines = std::vector<std::string>;

// One slot in full.
tLines slotScreen(const sSlotReport& report);

// Several slots: their problems, then a table with a line for each.
tLines slotTable(const std::vector<sSlotReport>& reports);

// The parts of which the live screen is made, too.
std::string slotHeadline(const sSlotReport& report, const sDiagnosis& diagnosis);
tLines problemLines(const sDiagnosis& diagnosis);
tLines slotDetails(const sSlotReport& report, const sDiagnosis& diagnosis);

#endif
