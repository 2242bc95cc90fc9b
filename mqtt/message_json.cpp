#include "mqtt/message_json.h"

#include "cli/base/utc_time.h"

namespace {

constexpr int DEPTH_MAX = 8;

}  // namespace

std::optional<nlohmann::json> parseObject(const std::string& text) {
    if (text.size() > MESSAGE_MAX_BYTES) return std::nullopt;
    bool isTooDeep = false;
    const auto watchDepth = [&isTooDeep](int depth, nlohmann::json::parse_event_t,
                                         nlohmann::json&) {
        isTooDeep = isTooDeep || depth > DEPTH_MAX;
        return !isTooDeep;
    };
    // A text that is not JSON becomes a discarded value, without an exception.
    nlohmann::json object = nlohmann::json::parse(text, watchDepth, false);
    if (isTooDeep || !object.is_object()) return std::nullopt;
    return object;
}

std::string textField(const nlohmann::json& object, const char* key, size_t maxBytes) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) return "";
    const std::string& text = found->get_ref<const std::string&>();
    return text.size() <= maxBytes ? text : "";
}

std::optional<long long> numberField(const nlohmann::json& object, const char* key, long long least,
                                     long long greatest) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_number_integer()) return std::nullopt;
    // Beyond 63 bits a number would be read as a negative one.
    if (found->is_number_unsigned() && found->get<uint64_t>() > INT64_MAX) return std::nullopt;
    const auto number = found->get<long long>();
    if (number < least || number > greatest) return std::nullopt;
    return number;
}

std::optional<bool> boolField(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_boolean()) return std::nullopt;
    return found->get<bool>();
}

std::optional<time_t> timeField(const nlohmann::json& object, const char* key) {
    return parseUtcText(textField(object, key, 40));
}

std::string jsonText(const nlohmann::ordered_json& object) {
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
