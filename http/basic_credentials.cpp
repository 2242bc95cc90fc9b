#include "http/basic_credentials.h"

#include <cstring>

#include "platform/include/text_helpers.h"

namespace {

constexpr const char* START = "basic ";
constexpr const char* LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned LETTER_BITS = 6;
constexpr unsigned BYTE_BITS = 8;
constexpr unsigned BYTE_MASK = 255;
constexpr size_t HEADER_MAX = 1024;

// False at the first letter that is not base64.
bool decodeBase64(const std::string& text, std::string& bytes) {
    unsigned bits = 0;
    unsigned count = 0;
    const size_t end = std::min(text.find('='), text.size());
    for (size_t i = 0; i < end; ++i) {
        const char* letter = text[i] != '\0' ? strchr(LETTERS, text[i]) : nullptr;
        if (letter == nullptr) return false;
        bits = bits << LETTER_BITS | static_cast<unsigned>(letter - LETTERS);
        count += LETTER_BITS;
        if (count < BYTE_BITS) continue;
        count -= BYTE_BITS;
        bytes += static_cast<char>(bits >> count & BYTE_MASK);
    }
    return true;
}

}  // namespace

std::string basicPassword(const std::string& authorization) {
    const std::string start = START;
    if (authorization.size() > HEADER_MAX ||
        stringLower(authorization.substr(0, start.size())) != start)
        return "";
    std::string pair;
    if (!decodeBase64(cleanBeginEndWhiteSpace(authorization.substr(start.size())), pair)) return "";
    const size_t colon = pair.find(':');
    return colon == std::string::npos ? "" : pair.substr(colon + 1);
}
