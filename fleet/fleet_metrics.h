#ifndef FLEET_FLEET_METRICS_H
#define FLEET_FLEET_METRICS_H

#include <string>
#include <vector>

#include "fleet/judgement.h"

// The fleet in the Prometheus text format, version 0.0.4. The slots' families are those of
// "cellslot status --metrics" with the label gateway. Slots of a gateway that is offline have no
// series: nobody knows how they are.
std::string fleetMetrics(const std::vector<sJudgement>& all, time_t now);

#endif
