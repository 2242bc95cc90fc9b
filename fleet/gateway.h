#ifndef FLEET_GATEWAY_H
#define FLEET_GATEWAY_H

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/diagnosis.h"
#include "mqtt/messages.h"

// What a gateway last said of itself, as far as it is listed, filtered and counted. Every text is
// bounded and printable.

struct sTrouble {
    eSeverity level = eSeverity::ERROR;
    std::string id;    // for programs
    std::string what;  // a sentence
    std::string mend;  // what to do; empty if nothing
};

struct sSlotState {
    int slot = 0;
    time_t time = 0;
    std::string state;  // "connected"; the ids of cellslot status
    std::string operatorName;
    std::string technology;
    std::string firmware;
    std::string quality;  // "good", "fair", "poor"; empty: not known
    std::optional<double> strengthPercent;
    std::vector<sTrouble> troubles;  // the most important first
    std::string json;                // all that it said
};

struct sGateway {
    std::string name;
    std::optional<sAvailability> availability;
    std::map<int, sSlotState> slots;
};

// Nothing if the message is not a slot's state.
std::optional<sSlotState> readSlotState(const std::string& payload, int slot);

#endif
