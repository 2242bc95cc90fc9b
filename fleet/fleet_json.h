#ifndef FLEET_FLEET_JSON_H
#define FLEET_FLEET_JSON_H

#include <string>
#include <vector>

#include "fleet/judgement.h"

// The fleet for programs, always valid UTF-8: {"gateways": [{"name", "online", "state", "heard",
// "problems", "availability", "slots": [as cellslot status --json, with "time"]}]}, the worst
// first.
std::string fleetJson(const std::vector<sJudgement>& chosen);

// One of them.
std::string gatewayJson(const sJudgement& judgement);

// Without what only one gateway's details need, for a list of thousands: {"gateways": [{"name",
// "online", "state", "heard", "level", "what", "operator", "technology", "quality", "percent",
// "firmware"}], "kinds": [{"id", "what", "level", "gateways"}]}.
std::string fleetListJson(const std::vector<sJudgement>& all);

#endif
