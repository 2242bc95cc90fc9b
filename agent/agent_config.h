#ifndef AGENT_AGENT_CONFIG_H
#define AGENT_AGENT_CONFIG_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "mqtt/broker_options.h"

constexpr const char* AGENT_CONFIG_FILE = "/etc/cellslot/agent.conf";

// What the operator of this gateway has set up, and what they allow to whoever reaches it over the
// broker.
struct sAgentConfig {
    sBrokerOptions broker;
    std::string gateway;
    std::vector<std::string> commands;  // names; without any, none is executed
    std::vector<std::string>
        atCommands;  // in capitals; one that ends in '*' stands for all that begin so
    std::vector<std::string> smsNumbers;  // the same; digits with or without '+'
    bool sendsMessages = false;           // received text messages go to the broker
};

// Throws a cFailure that names the file, the line and what is expected.
sAgentConfig parseAgentConfig(const std::string& text);
sAgentConfig readAgentConfig(const sPlaces& places);

// All that is wrong, each as a sentence with file and, if it has one, line; the file may be
// missing. The config is as far as it could be read.
std::vector<std::string> checkAgentConfig(const sPlaces& places, sAgentConfig& config);

#endif
