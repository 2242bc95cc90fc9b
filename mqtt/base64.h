#ifndef MQTT_BASE64_H
#define MQTT_BASE64_H

#include <optional>
#include <string>

// RFC 4648, section 4, on one line with padding.
std::string base64Text(const std::string& bytes);
// Nothing for a text that is not base64.
std::optional<std::string> base64Bytes(const std::string& text);

#endif
