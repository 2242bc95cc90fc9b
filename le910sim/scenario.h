#ifndef LE910SIM_SCENARIO_H
#define LE910SIM_SCENARIO_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/json_reader.h"
#include "le910sim/modem_state.h"

namespace le910sim {

// The start of a simulation and what happens in it, from JSON. docs/le910sim.md has the keys.

struct sTimelineEntry {
    uint64_t atMs = 0;
    nlohmann::json order;  // as on the control socket
};

struct sScenario {
    sModemState state;
    uint32_t baud = 0;
    std::vector<sTimelineEntry> timeline;  // by time
    std::vector<nlohmann::json> faults;
};

// Both throw std::invalid_argument with a text that names the key.
sScenario readScenario(const nlohmann::json& json);
// The sections that may also change while the simulation runs; those absent stay as they are.
void readLiveSections(cJsonReader& reader, sModemState& state);
// The number of a context, which must be there.
int readContextId(cJsonReader& reader);
// "instant" or a number of bits a second.
uint32_t readPace(const std::string& text, const std::string& where);

nlohmann::json stateToJson(const sModemState& state);
nlohmann::json sentToJson(const sSentSms& sms);

}  // namespace le910sim

#endif
