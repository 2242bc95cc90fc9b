#ifndef CLI_STATUS_STATUS_JSON_H
#define CLI_STATUS_STATUS_JSON_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"

enum class eJsonLayout { INDENTED, ONE_LINE };

// The status for programs: {"slots": [...]}, always valid UTF-8. Unknown values are null, PINs are
// masked.
std::string statusJson(const std::vector<sSlotReport>& reports,
                       eJsonLayout layout = eJsonLayout::INDENTED);

#endif
