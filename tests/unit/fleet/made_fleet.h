#ifndef TESTS_UNIT_FLEET_MADE_FLEET_H
#define TESTS_UNIT_FLEET_MADE_FLEET_H

#include "fleet/judgement.h"
#include "tests/unit/cli/fixture.h"

// Gateways as they say of themselves, at RECORDED_S.

std::string madeOnline(time_t time = RECORDED_S, int everyS = 900);
std::string madeOffline(const char* reason, time_t time = RECORDED_S);
// The state of a recorded slot, as an agent publishes it.
std::string madeStatus(const std::string& recording, int slot = 1, time_t time = RECORDED_S);

inline sTopic availabilityOf(const std::string& gateway) {
    return {gateway, eTopic::AVAILABILITY, 0};
}
inline sTopic statusOf(const std::string& gateway, int slot = 1) {
    return {gateway, eTopic::STATUS, slot};
}

// "healthy" and "roams" are well; "error" has no SIM; "gone" and "stopped" are offline; "two" has
// two slots.
cFleet madeFleet();

#endif
