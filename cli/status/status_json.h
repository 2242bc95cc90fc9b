#ifndef CLI_STATUS_STATUS_JSON_H
#define CLI_STATUS_STATUS_JSON_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"

// The status for programs: {"slots": [...]}, UTF-8 whatever the modem says. What is not known is
// null. PINs are masked.
std::string statusJson(const std::vector<sSlotReport>& reports);

#endif
