#ifndef CLI_STATUS_STATUS_METRICS_H
#define CLI_STATUS_STATUS_METRICS_H

#include <string>
#include <vector>

#include "cli/status/slot_report.h"

// The status in the Prometheus text format, version 0.0.4: for each family a HELP and a TYPE line,
// and one series per slot. Unknown values have no series.
std::string statusMetrics(const std::vector<sSlotReport>& reports);

// The same for the slots of many gateways, one after the other: keeps the text, not the reports.
class cStatusMetrics {
  public:
    cStatusMetrics();
    // labels: before that of the slot, as metricLabel gives them, each followed by a comma.
    void add(const std::string& labels, const sSlotReport& report);
    std::string text() const;

  private:
    std::vector<std::string> m_series;  // of each family
};

// NAME="VALUE": backslash, quote and line feed escaped, always valid UTF-8.
std::string metricLabel(const std::string& name, const std::string& value);
// HELP and TYPE, then the series; empty if there is none.
std::string metricFamily(const std::string& name, const std::string& type, const std::string& help,
                         const std::string& series);

#endif
