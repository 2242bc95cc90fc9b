#include "tests/support/recording_text.h"

#include <cstdlib>

namespace {

constexpr const char* DATA = "\"data\":\"";

// The character of an escape that begins at text[at], and where it ends.
char escapedCharacter(const std::string& text, size_t& at) {
    const char kind = text[at + 1];
    at += 2;
    if (kind == 'r') return '\r';
    if (kind == 'n') return '\n';
    if (kind == 't') return '\t';
    if (kind != 'u') return kind;
    at += 4;
    return static_cast<char>(strtol(text.substr(at - 4, 4).c_str(), nullptr, 16));
}

// Where the JSON string that begins at `at` ends.
size_t textEnd(const std::string& text, size_t at) {
    while (at < text.size() && text[at] != '"')
        at += text[at] == '\\' ? 2 : 1;
    return at;
}

}  // namespace

std::string unescapedJson(const std::string& text) {
    std::string bytes;
    for (size_t at = 0; at < text.size();) {
        const auto byte = static_cast<unsigned char>(text[at]);
        if (byte == '\\') {
            bytes += escapedCharacter(text, at);
        } else if (byte >= 0x80) {
            const auto next = static_cast<unsigned char>(text[at + 1]);
            bytes += static_cast<char>((byte & 3) << 6 | (next & 0x3F));
            at += 2;
        } else {
            bytes += text[at++];
        }
    }
    return bytes;
}

std::string recordedData(const std::string& lines) {
    std::string bytes;
    const std::string start = DATA;
    for (size_t at = lines.find(start); at != std::string::npos; at = lines.find(start, at)) {
        at += start.size();
        const size_t end = textEnd(lines, at);
        bytes += unescapedJson(lines.substr(at, end - at));
    }
    return bytes;
}
