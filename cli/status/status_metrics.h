#ifndef CLI_STATUS_STATUS_METRICS_H
#define CLI_STATUS_STATUS_METRICS_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"

// The status in the Prometheus text format, version 0.0.4: for each family a HELP and a TYPE line,
// and one series per slot. Unknown values have no series. gateways: where each slot is, as a label;
// empty for those of this host.
std::string statusMetrics(const std::vector<sSlotReport>& reports,
                          const std::vector<std::string>& gateways = {});

// NAME="VALUE": backslash, quote and line feed escaped, always valid UTF-8.
std::string metricLabel(const std::string& name, const std::string& value);

#endif
