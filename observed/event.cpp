#include "observed/event.h"

#include <nlohmann/json.hpp>

#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"

namespace {

constexpr size_t TEXT_MAX = 400;
// Three texts, each octet as six, and the numbers; a line that is longer is not ours.
constexpr size_t LINE_MAX_BYTES = 8000;

std::string bounded(const std::string& text) {
    return beginningOf(text, TEXT_MAX);
}

std::string textOf(const nlohmann::json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

}  // namespace

sEvent eventOf(time_t time, const char* kind, const std::string& text) {
    sEvent event;
    event.time = time;
    event.kind = kind;
    event.text = text;
    return event;
}

std::string eventLine(const sEvent& event) {
    nlohmann::ordered_json line;
    line["time"] = event.time;
    line["at"] = utcText(event.time);
    line["kind"] = bounded(event.kind);
    if (!event.cause.empty()) line["cause"] = bounded(event.cause);
    if (event.durationS) line["duration_s"] = *event.durationS;
    line["text"] = bounded(event.text);
    return line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<sEvent> parseEventLine(const std::string& line) {
    if (line.size() > LINE_MAX_BYTES) return std::nullopt;
    // A text that is not JSON becomes a discarded value, without an exception.
    const nlohmann::json object = nlohmann::json::parse(line, nullptr, false);
    if (!object.is_object()) return std::nullopt;
    const auto time = object.find("time");
    if (time == object.end() || !time->is_number_integer()) return std::nullopt;
    sEvent event;
    event.time = time->get<time_t>();
    event.kind = bounded(textOf(object, "kind"));
    event.cause = bounded(textOf(object, "cause"));
    event.text = bounded(textOf(object, "text"));
    const auto duration = object.find("duration_s");
    if (duration != object.end() && duration->is_number_integer())
        event.durationS = duration->get<long long>();
    if (event.kind.empty() || !isPlausibleTime(event.time)) return std::nullopt;
    return event;
}
