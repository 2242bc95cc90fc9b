#include "mqtt/message_id.h"

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t STREAM_DIGITS = 8;
constexpr size_t NUMBER_DIGITS_MAX = 18;  // fits into 63 bits

}  // namespace

bool isStreamName(const std::string& text) {
    return text.size() == STREAM_DIGITS &&
           text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

std::string messageIdText(const sMessageId& id) {
    return id.stream + "-" + std::to_string(id.number);
}

std::optional<sMessageId> parseMessageId(const std::string& text) {
    if (text.size() <= STREAM_DIGITS || text[STREAM_DIGITS] != '-') return std::nullopt;
    const std::string number = text.substr(STREAM_DIGITS + 1);
    if (!isStringNumeric(number) || number.size() > NUMBER_DIGITS_MAX || number[0] == '0')
        return std::nullopt;
    sMessageId id{text.substr(0, STREAM_DIGITS), static_cast<uint64_t>(textToLong(number))};
    if (!isStreamName(id.stream)) return std::nullopt;
    return id;
}
