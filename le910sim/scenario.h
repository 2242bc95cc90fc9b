#ifndef LE910SIM_SCENARIO_H
#define LE910SIM_SCENARIO_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/json_reader.h"
#include "le910sim/modem_state.h"

namespace le910sim {

// The initial state of a simulation and its events, from JSON. docs/le910sim.md lists the keys.

struct sTimelineEntry {
    uint64_t atMs = 0;
    nlohmann::json order;  // as on the control socket
};

struct sScenario {
    sModemState state;
    uint32_t baud = 0;
    std::vector<sTimelineEntry> timeline;  // sorted by time
    std::vector<nlohmann::json> faults;
};

// Both throw std::invalid_argument with a text that names the key.
sScenario readScenario(const nlohmann::json& json);
// Reads the sections that may also change while the simulation runs; absent ones stay unchanged.
void readLiveSections(cJsonReader& reader, sModemState& state);
// The number of a context, which must be there.
int readContextId(cJsonReader& reader);
// "instant" or a number of bits per second.
uint32_t readPace(const std::string& text, const std::string& where);

}  // namespace le910sim

#endif
