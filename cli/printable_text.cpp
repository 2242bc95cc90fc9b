#include "cli/printable_text.h"

#include <algorithm>

#include "cli/display_text.h"

namespace {

std::string utf8OfLatin1(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
            continue;
        }
        text += static_cast<char>(0xC0 | byte >> 6);
        text += static_cast<char>(0x80 | (byte & 0x3F));
    }
    return text;
}

}  // namespace

std::string printableText(const std::string& bytes) {
    const std::string text = isUtf8(bytes) ? bytes : utf8OfLatin1(bytes);
    std::string shown;
    for (size_t start = 0;;) {
        const size_t end = std::min(text.find_first_of("\n\t", start), text.size());
        shown += displayText(text.substr(start, end - start));
        if (end == text.size()) return shown;
        shown += text[end];
        start = end + 1;
    }
}

std::string printableLine(const std::string& bytes) {
    std::string text = printableText(bytes);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return text;
}
