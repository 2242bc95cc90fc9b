#include "mqtt/topics.h"

#include "platform/include/text_helpers.h"
#include "published/slot.h"

namespace {

constexpr const char* PREFIX = "cellslot/1/";
constexpr const char* NAME_LETTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

struct sKindName {
    eTopic kind;
    const char* name;
    bool isOfSlot;
};

constexpr sKindName KINDS[] = {
    {eTopic::AVAILABILITY, "availability", false},
    {eTopic::STATUS, "status", true},
    {eTopic::EVENT, "event", true},
    {eTopic::SMS, "sms", true},
    {eTopic::COMMAND, "command", false},
    {eTopic::RESULT, "result", false},
};

const sKindName& kindName(eTopic kind) {
    for (const sKindName& entry : KINDS)
        if (entry.kind == kind) return entry;
    return KINDS[0];
}

std::string built(const std::string& gateway, eTopic kind, const std::string& slot) {
    const sKindName& entry = kindName(kind);
    return PREFIX + gateway + (entry.isOfSlot ? "/slot/" + slot + "/" : "/") + entry.name;
}

// The kind that "slot/2/status" or "command" says.
std::optional<sTopic> parseKind(const std::string& text) {
    for (const sKindName& entry : KINDS) {
        sTopic topic;
        topic.kind = entry.kind;
        if (!entry.isOfSlot) {
            if (text == entry.name) return topic;
            continue;
        }
        for (topic.slot = FIRST_SLOT; topic.slot <= LAST_SLOT; ++topic.slot)
            if (text == "slot/" + itos(topic.slot) + "/" + entry.name) return topic;
    }
    return std::nullopt;
}

}  // namespace

bool isGatewayName(const std::string& text) {
    return !text.empty() && text.size() <= GATEWAY_NAME_MAX &&
           text.find_first_not_of(NAME_LETTERS) == std::string::npos;
}

std::string topicText(const sTopic& topic) {
    return built(topic.gateway, topic.kind, itos(topic.slot));
}

std::optional<sTopic> parseTopic(const std::string& text) {
    if (!startsWith(text, PREFIX)) return std::nullopt;
    const size_t name = std::string(PREFIX).size();
    const size_t slash = text.find('/', name);
    if (slash == std::string::npos) return std::nullopt;
    std::optional<sTopic> topic = parseKind(text.substr(slash + 1));
    if (!topic) return std::nullopt;
    topic->gateway = text.substr(name, slash - name);
    if (!isGatewayName(topic->gateway)) return std::nullopt;
    return topic;
}

std::string everyGateway(eTopic kind) {
    return built("+", kind, "+");
}
