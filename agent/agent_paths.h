#ifndef AGENT_AGENT_PATHS_H
#define AGENT_AGENT_PATHS_H

// The agent's own; nobody else reads it.
constexpr const char* AGENT_FOLDER = "/var/lib/cellslot/agent";
// What the agent does now, for "cellslot agent status".
constexpr const char* AGENT_STATE_FILE = "/run/cellslot-agent/state.json";

#endif
