#ifndef AGENT_EXECUTION_H
#define AGENT_EXECUTION_H

#include <string>
#include <vector>

#include "agent/outcome.h"
#include "cli/base/places.h"
#include "mqtt/command.h"

// Executes a command by `cellslot`, whose path is program. Not a configuration change.
sOutcome execute(const std::string& program, const sCommand& command);

// The words that stand for the command, program first; of a report without the file. For tests.
std::vector<std::string> wordsOf(const std::string& program, const sCommand& command);

#endif
