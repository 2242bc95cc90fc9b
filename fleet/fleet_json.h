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

// One of them without what only its details need, for a list of thousands, on one line: {"name",
// "online", "state", "heard", "problems": [{"severity", "id", "what"}], "operator", "technology",
// "quality", "percent", "firmware"}; what is not known is left out.
std::string listedJson(const sJudgement& judgement);

#endif
