#ifndef FLEET_FLEET_METRICS_H
#define FLEET_FLEET_METRICS_H

#include <string>
#include <vector>

#include "fleet/judgement.h"

// The fleet in the Prometheus text format, version 0.0.4: numbers of gateways by state and by
// problem, whether each gateway is there and what is wrong, and of those that are online the
// metrics of cellslot status with the label gateway. What an offline gateway said last is not
// repeated as if it were true now.
std::string fleetMetrics(const std::vector<sJudgement>& all, time_t now);

// What who is always connected knows of the broker. refused: cFleet::refused.
std::string brokerMetrics(bool isConnected, size_t refused);

#endif
