#ifndef MQTT_MESSAGE_JSON_H
#define MQTT_MESSAGE_JSON_H

#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

// Fields of a message that came over the network: each read has a type and a bound, and what is not
// so counts as missing. Only sources of messages include this header.

// Nothing that is longer is sent or read.
constexpr size_t MESSAGE_MAX_BYTES = 64 * 1024;

// Nothing if it is not a JSON object, too long or nested deeper than our messages are.
std::optional<nlohmann::json> parseObject(const std::string& text);

// Empty if the field is missing, not a text or longer than maxBytes.
std::string textField(const nlohmann::json& object, const char* key, size_t maxBytes);
std::optional<long long> numberField(const nlohmann::json& object, const char* key, long long least,
                                     long long greatest);
std::optional<bool> boolField(const nlohmann::json& object, const char* key);
std::optional<time_t> timeField(const nlohmann::json& object, const char* key);

// On one line. Octets that are not UTF-8 are replaced.
std::string jsonText(const nlohmann::ordered_json& object);

#endif
