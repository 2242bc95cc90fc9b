#ifndef MQTT_TOPICS_H
#define MQTT_TOPICS_H

#include <optional>
#include <string>

// The topics that a gateway and its operators share, "cellslot/1/GATEWAY/...". The 1 is the version
// of all that is said below it.

enum class eTopic { AVAILABILITY, STATUS, EVENT, SMS, COMMAND, RESULT };

struct sTopic {
    std::string gateway;
    eTopic kind = eTopic::AVAILABILITY;
    int slot = 0;  // of STATUS, EVENT and SMS; otherwise 0
};

constexpr size_t GATEWAY_NAME_MAX = 48;

// 1 to 48 letters, digits, '-' and '_': what every broker takes in a topic, a client identifier and
// a user name. Not so the dot, which divides the words of a NATS subject.
bool isGatewayName(const std::string& text);

std::string topicText(const sTopic& topic);
// Nothing for a topic that is not one of these.
std::optional<sTopic> parseTopic(const std::string& text);

// All topics of a kind of all gateways, as a filter for a subscription.
std::string everyGateway(eTopic kind);

#endif
