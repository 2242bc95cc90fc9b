#include "fleet/event_lines.h"

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "cli/base/utc_time.h"
#include "mqtt/message_json.h"
#include "platform/include/text_helpers.h"

namespace {

struct sReport {
    sMessageId id;
    time_t time = 0;
    std::string kind;
    std::string text;
};

std::optional<sReport> readReport(const sTopic& topic, const std::string& payload) {
    if (topic.kind == eTopic::EVENT) {
        const std::optional<sWireEvent> event = parseEvent(payload);
        if (!event) return std::nullopt;
        const std::string lasted = event->seconds ? " (" + durationText(*event->seconds) + ")" : "";
        return sReport{event->id, event->time, event->kind, event->text + lasted};
    }
    const std::optional<sTextMessage> message = parseTextMessage(payload);
    if (topic.kind != eTopic::SMS || !message) return std::nullopt;
    return sReport{message->id, message->time, "sms",
                   "from " + message->from + ": " + message->text};
}

}  // namespace

bool cSeenIds::isNew(const std::string& gateway, const sMessageId& id) {
    sLast& last = m_last[gateway];
    if (last.stream != id.stream) last = {id.stream, id.number, {}};
    if (id.number > last.greatest) {
        const uint64_t step = id.number - last.greatest;
        last.seen = step < KEPT ? last.seen << step : std::bitset<KEPT>();
        last.greatest = id.number;
    }
    const uint64_t age = last.greatest - id.number;
    if (age >= KEPT) return true;
    const bool isNew = !last.seen.test(age);
    last.seen.set(age);
    return isNew;
}

std::string eventLine(const sTopic& topic, const std::string& payload, cSeenIds& seen) {
    const std::optional<sReport> report = readReport(topic, payload);
    if (!report || !seen.isNew(topic.gateway, report->id)) return "";
    return utcText(report->time) + "  " + topic.gateway + "/" + itos(topic.slot) + "  " +
           printableLine(report->kind) + ": " + printableLine(report->text);
}

std::string eventJson(const sTopic& topic, const std::string& payload, cSeenIds& seen) {
    const std::optional<sReport> report = readReport(topic, payload);
    if (!report || !seen.isNew(topic.gateway, report->id)) return "";
    nlohmann::ordered_json object{{"gateway", topic.gateway}, {"slot", topic.slot}};
    object.update(nlohmann::ordered_json::parse(payload, nullptr, false));
    // By the topic, which the broker's permissions bind to the gateway; the text can claim another.
    object["gateway"] = topic.gateway;
    object["slot"] = topic.slot;
    return jsonText(object);
}
