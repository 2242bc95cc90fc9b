#ifndef CLI_STATUS_STATUS_METRICS_H
#define CLI_STATUS_STATUS_METRICS_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"

// The status in the Prometheus text format, version 0.0.4: a family of metrics a HELP and a TYPE
// line, a series a slot. What a slot does not know has no series.
std::string statusMetrics(const std::vector<sSlotReport>& reports);

#endif
