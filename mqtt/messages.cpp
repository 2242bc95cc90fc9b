#include "mqtt/messages.h"

#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"
#include "mqtt/message_json.h"

namespace {

using tJson = nlohmann::ordered_json;

constexpr size_t WORD_MAX = 40;
constexpr size_t SENTENCE_MAX = 400;
constexpr size_t SIGNAL_MAX = 1000;
constexpr size_t SMS_TEXT_MAX = 16 * 1024;
constexpr size_t SMS_FIELD_MAX = 80;
constexpr int EVERY_MAX_S = 7 * 86400;

std::string idField(const nlohmann::json& object) {
    return textField(object, "id", WORD_MAX);
}

void addText(tJson& object, const char* key, const std::string& text, size_t maxBytes) {
    if (!text.empty()) object[key] = beginningOf(text, maxBytes);
}

template <typename tNumber>
void addNumber(tJson& object, const char* key, const std::optional<tNumber>& number) {
    if (number) object[key] = *number;
}

std::optional<uint64_t> countField(const nlohmann::json& object, const char* key) {
    const std::optional<long long> number = numberField(object, key, 0, INT64_MAX);
    if (!number) return std::nullopt;
    return static_cast<uint64_t>(*number);
}

// A value that is already JSON, as part of another.
void addJson(tJson& object, const char* key, const std::string& json) {
    if (json.empty()) return;
    tJson value = tJson::parse(json, nullptr, false);
    if (!value.is_discarded()) object[key] = std::move(value);
}

}  // namespace

std::string availabilityText(const sAvailability& availability) {
    tJson object{{"online", availability.isOnline}, {"time", utcText(availability.time)}};
    addText(object, "version", availability.version, WORD_MAX);
    if (availability.isOnline) {
        object["every_seconds"] = availability.everyS;
        object["waiting"] = availability.waiting;
    }
    addText(object, "stream", availability.stream, WORD_MAX);
    addText(object, "reason", availability.reason, WORD_MAX);
    return jsonText(object);
}

std::optional<sAvailability> parseAvailability(const std::string& text) {
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) return std::nullopt;
    const std::optional<bool> isOnline = boolField(*object, "online");
    const std::optional<time_t> time = timeField(*object, "time");
    if (!isOnline || !time) return std::nullopt;
    sAvailability availability;
    availability.isOnline = *isOnline;
    availability.time = *time;
    availability.version = textField(*object, "version", WORD_MAX);
    availability.everyS =
        static_cast<int>(numberField(*object, "every_seconds", 1, EVERY_MAX_S).value_or(0));
    availability.waiting = numberField(*object, "waiting", 0, INT64_MAX).value_or(0);
    availability.stream = textField(*object, "stream", WORD_MAX);
    availability.reason = textField(*object, "reason", WORD_MAX);
    return availability;
}

std::string slotStatusText(time_t time, const std::string& statusJson) {
    tJson object{{"time", utcText(time)}};
    const tJson status = tJson::parse(statusJson, nullptr, false);
    if (status.is_object()) object.update(status);
    return jsonText(object);
}

std::optional<sSlotStatus> parseSlotStatus(const std::string& text) {
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) return std::nullopt;
    const std::optional<time_t> time = timeField(*object, "time");
    const auto slots = object->find("slots");
    if (!time || slots == object->end() || !slots->is_array() || slots->size() != 1 ||
        !slots->front().is_object())
        return std::nullopt;
    return sSlotStatus{*time, jsonText(slots->front())};
}

std::string eventText(const sWireEvent& event) {
    tJson object{{"id", messageIdText(event.id)},
                 {"time", utcText(event.time)},
                 {"kind", beginningOf(event.kind, WORD_MAX)}};
    addText(object, "text", event.text, SENTENCE_MAX);
    addText(object, "cause", event.cause, WORD_MAX);
    addNumber(object, "seconds", event.seconds);
    addJson(object, "signal", event.signalJson);
    addNumber(object, "first", event.first);
    addNumber(object, "last", event.last);
    addNumber(object, "count", event.count);
    return jsonText(object);
}

std::optional<sWireEvent> parseEvent(const std::string& text) {
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) return std::nullopt;
    const std::optional<sMessageId> id = parseMessageId(idField(*object));
    const std::optional<time_t> time = timeField(*object, "time");
    sWireEvent event;
    event.kind = textField(*object, "kind", WORD_MAX);
    if (!id || !time || event.kind.empty()) return std::nullopt;
    event.id = *id;
    event.time = *time;
    event.text = textField(*object, "text", SENTENCE_MAX);
    event.cause = textField(*object, "cause", WORD_MAX);
    event.seconds = numberField(*object, "seconds", 0, INT64_MAX);
    const auto signal = object->find("signal");
    if (signal != object->end() && signal->is_object()) event.signalJson = jsonText(*signal);
    if (event.signalJson.size() > SIGNAL_MAX) event.signalJson.clear();
    event.first = countField(*object, "first");
    event.last = countField(*object, "last");
    event.count = countField(*object, "count");
    return event;
}

std::string textMessageText(const sTextMessage& message) {
    tJson object{{"id", messageIdText(message.id)}, {"time", utcText(message.time)}};
    addText(object, "from", message.from, SMS_FIELD_MAX);
    object["text"] = beginningOf(message.text, SMS_TEXT_MAX);
    addText(object, "received", message.received, SMS_FIELD_MAX);
    return jsonText(object);
}

std::optional<sTextMessage> parseTextMessage(const std::string& text) {
    const std::optional<nlohmann::json> object = parseObject(text);
    if (!object) return std::nullopt;
    const std::optional<sMessageId> id = parseMessageId(idField(*object));
    const std::optional<time_t> time = timeField(*object, "time");
    if (!id || !time) return std::nullopt;
    return sTextMessage{*id, *time, textField(*object, "from", SMS_FIELD_MAX),
                        textField(*object, "text", SMS_TEXT_MAX),
                        textField(*object, "received", SMS_FIELD_MAX)};
}
