#ifndef LE910SIM_STATE_DUMP_H
#define LE910SIM_STATE_DUMP_H

#include <nlohmann/json.hpp>

#include "le910sim/modem_state.h"

namespace le910sim {

// What the control socket shows of the modem; docs/le910sim.md lists the keys.
nlohmann::json stateToJson(const sModemState& state);
// What a modem keeps when its power is cut, as sections of a scenario: its SIM and its messages.
nlohmann::json memoryToJson(const sModemState& state);
nlohmann::json sentToJson(const sSentSms& sms);

}  // namespace le910sim

#endif
