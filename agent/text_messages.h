#ifndef AGENT_TEXT_MESSAGES_H
#define AGENT_TEXT_MESSAGES_H

#include <optional>
#include <set>
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

struct sFoundMessages {
    std::set<std::string> keys;           // of all that are there
    std::vector<sFoundMessage> messages;  // that are not known yet; oldest first, not always all
};

using tMessageKeys = std::set<std::string>;

// The agent says which it knows, as the rest of its request.
std::string messageKeysJson(const tMessageKeys& known);
// Empty if it is not what messageKeysJson makes.
tMessageKeys parseMessageKeys(const std::string& json);

// Throws cFailure.
std::string foundMessagesJson(const sPlaces& places, const tMessageKeys& known);
// Nothing if it is not what foundMessagesJson makes.
std::optional<sFoundMessages> parseFoundMessages(const std::string& json);

#endif
