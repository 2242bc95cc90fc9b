#ifndef MQTT_MESSAGE_ID_H
#define MQTT_MESSAGE_ID_H

#include <cstdint>
#include <optional>
#include <string>

// Names one message of a gateway, so that a receiver can tell a repetition and a gap:
// "1f0c9a2b-42".
struct sMessageId {
    std::string stream;   // 8 hexadecimal digits, made anew when the gateway's spool is
    uint64_t number = 0;  // from 1, one more with each event, result and text message
};

bool isStreamName(const std::string& text);
std::string messageIdText(const sMessageId& id);
std::optional<sMessageId> parseMessageId(const std::string& text);

#endif
