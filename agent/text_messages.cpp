#include "agent/text_messages.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/base/printable_text.h"
#include "cli/sms/sms_spool.h"

namespace {

using tJson = nlohmann::json;

// Of the newest ones; more are not followed.
constexpr size_t KEYS_MAX = 2000;
// Texts in one answer, as they are quoted; at least one message.
constexpr size_t TEXTS_MAX = 256 * 1024;
constexpr size_t TEXT_MAX = 16 * 1024;  // as in a message to the broker

// FNV-1a: names of files may be long, and a request is not.
std::string keyOf(const sReceivedMessage& message) {
    uint64_t hash = 0xCBF29CE484222325;
    for (const char octet : message.file + ":" + std::to_string(message.receivedNs))
        hash = (hash ^ static_cast<unsigned char>(octet)) * 0x100000001B3;
    std::array<char, 17> text{};
    snprintf(text.data(), text.size(), "%016" PRIx64, hash);
    return text.data();
}

tJson jsonOf(const sReceivedMessage& message, const std::string& key) {
    return {{"key", key},
            {"from", printableLine(message.from)},
            {"received", printableLine(message.time)},
            {"text", beginningOf(printableText(message.text), TEXT_MAX)}};
}

std::string dumped(const tJson& json) {
    return json.dump(-1, ' ', false, tJson::error_handler_t::replace);
}

}  // namespace

std::string messageKeysJson(const tMessageKeys& known) {
    return dumped(tJson(known));
}

tMessageKeys parseMessageKeys(const std::string& json) {
    const tJson list = tJson::parse(json, nullptr, false);
    tMessageKeys known;
    if (!list.is_array()) return known;
    for (const tJson& key : list)
        if (key.is_string()) known.insert(key.get<std::string>());
    return known;
}

std::string foundMessagesJson(const sPlaces& places, const tMessageKeys& known) {
    const std::vector<sReceivedMessage> messages = receivedMessages(places);
    tJson keys = tJson::array();
    tJson list = tJson::array();
    size_t size = 0;
    for (size_t i = messages.size() - std::min(messages.size(), KEYS_MAX); i < messages.size();
         ++i) {
        const std::string key = keyOf(messages[i]);
        keys.push_back(key);
        if (known.count(key) != 0 || size >= TEXTS_MAX) continue;
        list.push_back(jsonOf(messages[i], key));
        size += dumped(list.back()).size();
    }
    return dumped(tJson{{"keys", keys}, {"messages", list}});
}

std::optional<sFoundMessages> parseFoundMessages(const std::string& json) {
    const tJson object = tJson::parse(json, nullptr, false);
    try {
        sFoundMessages found;
        found.keys = object.at("keys").get<tMessageKeys>();
        for (const tJson& entry : object.at("messages"))
            found.messages.push_back(
                {entry.at("key").get<std::string>(), entry.at("from").get<std::string>(),
                 entry.at("received").get<std::string>(), entry.at("text").get<std::string>()});
        return found;
    } catch (const tJson::exception&) {
        return std::nullopt;
    }
}
