#ifndef AGENT_TEXT_MESSAGES_H
#define AGENT_TEXT_MESSAGES_H

#include <optional>
#include <string>
#include <vector>

#include "cli/base/places.h"

// Received text messages, from the service that works as root, which may read them, to the agent.

struct sFoundMessage {
    std::string key;  // names it as long as it is there
    std::string from;
    std::string received;  // the time in it
    std::string text;
};

// The newest ones, oldest first. Throws cFailure.
std::string foundMessagesJson(const sPlaces& places);
// Nothing if it is not what foundMessagesJson makes.
std::optional<std::vector<sFoundMessage>> parseFoundMessages(const std::string& json);

#endif
