#include "agent/text_messages.h"

#include <nlohmann/json.hpp>

#include "cli/base/printable_text.h"
#include "cli/sms/sms_spool.h"

namespace {

using tJson = nlohmann::json;

constexpr size_t MESSAGES_MAX = 100;
constexpr size_t TEXT_MAX = 4096;

}  // namespace

std::string foundMessagesJson(const sPlaces& places) {
    const std::vector<sReceivedMessage> messages = receivedMessages(places);
    tJson list = tJson::array();
    for (size_t i = messages.size() > MESSAGES_MAX ? messages.size() - MESSAGES_MAX : 0;
         i < messages.size(); ++i) {
        const sReceivedMessage& message = messages[i];
        list.push_back({{"key", message.file + ":" + std::to_string(message.receivedNs)},
                        {"from", printableLine(message.from)},
                        {"received", printableLine(message.time)},
                        {"text", printableText(message.text.substr(0, TEXT_MAX))}});
    }
    return list.dump(-1, ' ', false, tJson::error_handler_t::replace);
}

std::optional<std::vector<sFoundMessage>> parseFoundMessages(const std::string& json) {
    const tJson list = tJson::parse(json, nullptr, false);
    if (!list.is_array()) return std::nullopt;
    std::vector<sFoundMessage> messages;
    try {
        for (const tJson& entry : list)
            messages.push_back(
                {entry.at("key").get<std::string>(), entry.at("from").get<std::string>(),
                 entry.at("received").get<std::string>(), entry.at("text").get<std::string>()});
    } catch (const tJson::exception&) {
        return std::nullopt;
    }
    return messages;
}
