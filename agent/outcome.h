#ifndef AGENT_OUTCOME_H
#define AGENT_OUTCOME_H

#include <optional>
#include <string>
#include <vector>

#include "agent/agent_store.h"
#include "mqtt/command.h"

// What came of a command.
struct sOutcome {
    eResult status = eResult::FAILED;
    std::string text;         // a sentence
    std::optional<int> exit;  // exit status of what was run
    std::string output;       // what it printed
    bool isBinary = false;
};

constexpr size_t OUTPUT_MAX = 768 * 1024;

// The messages by which whoever asked gets to know it: more than one for a long output. An output
// that is longer than room, bytes, is left out, so that it does not push out what else waits.
std::vector<sDraft> resultDrafts(const sCommand& command, const sOutcome& outcome, time_t now,
                                 size_t room);

// "done: The data connection is on."
std::string shortText(const sOutcome& outcome);

#endif
