#ifndef AGENT_ROOT_PROTOCOL_H
#define AGENT_ROOT_PROTOCOL_H

#include <string>

#include "agent/outcome.h"

// What the agent and the service that works as root say to each other, over a socket that systemd
// holds. One connection is one request, in one line; the service answers with a line and what the
// command printed, and ends.

constexpr const char* ROOT_SOCKET = "/run/cellslot-agent-commands";

// Then a blank and what it is about.
constexpr const char* REQUEST_EXECUTE = "execute";    // a command, as it came from the broker
constexpr const char* REQUEST_CONFIRM = "confirm";    // the id of a configuration change
constexpr const char* REQUEST_MESSAGES = "messages";  // received ones that are known already

constexpr size_t REQUEST_MAX = 256 * 1024;
constexpr size_t ANSWER_LINE_MAX = 8 * 1024;

struct sRootAnswer {
    sOutcome outcome;
    // A configuration change has been begun; what comes of it is in a file (change_record.h).
    bool isBegun = false;
};

std::string rootAnswerText(const sRootAnswer& answer);
// An answer that is not whole or not one is a failure that says so.
sRootAnswer parseRootAnswer(const std::string& text);

#endif
