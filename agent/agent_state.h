#ifndef AGENT_AGENT_STATE_H
#define AGENT_AGENT_STATE_H

#include <ctime>
#include <optional>
#include <string>

#include "cli/base/places.h"

// What the agent does now, published for whoever stands before the gateway and asks why it is not
// connected.
struct sAgentState {
    int pid = 0;
    std::string gateway;
    std::string broker;  // connected to, or tried last
    bool isConnected = false;
    time_t since = 0;       // of that
    long long waiting = 0;  // messages
    std::string stream;
    std::string error;  // why there was no connection last; or what is wrong with the configuration
    time_t errorAt = 0;
    unsigned long long writes = 0;  // to the disk, since its start
};

constexpr const char* AGENT_STATE_FILE = "/run/cellslot-agent/state.json";

std::string agentStateJson(const sAgentState& state);
// A failure is not worth a word: it is memory.
void publishAgentState(const sPlaces& places, const sAgentState& state);
// Nothing if no agent has published anything.
std::optional<sAgentState> readAgentState(const sPlaces& places);

#endif
