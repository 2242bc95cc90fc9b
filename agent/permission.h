#ifndef AGENT_PERMISSION_H
#define AGENT_PERMISSION_H

#include <string>

#include "agent/agent_config.h"
#include "mqtt/command.h"

// Whether the configuration allows the command: empty, or why not. The agent asks before it takes a
// command, and the service that executes it asks again: a broken agent can do no more than is
// listed.
std::string whyNotAllowed(const sAgentConfig& config, const sCommand& command);

#endif
