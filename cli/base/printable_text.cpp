#include "cli/base/printable_text.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace {

constexpr uint32_t SURROGATES_FIRST = 0xD800;
constexpr uint32_t SURROGATES_LAST = 0xDFFF;
constexpr uint32_t CODE_POINT_MAX = 0x10FFFF;

bool isControl(uint32_t codePoint) {
    if (codePoint == '\n' || codePoint == '\t') return false;
    if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0)) return true;
    // Ends of lines and paragraphs; what turns the direction of all that follows in the line
    // (Unicode Standard Annex 9). Letters that are written from right to left need none of these.
    return (codePoint >= 0x2028 && codePoint <= 0x202E) ||
           (codePoint >= 0x2066 && codePoint <= 0x2069);
}

void appendUtf8(std::string& text, uint32_t codePoint) {
    const auto add = [&](uint32_t byte) { text += static_cast<char>(byte); };
    if (codePoint < 0x80) return add(codePoint);
    if (codePoint < 0x800) {
        add(0xC0 | codePoint >> 6);
    } else {
        if (codePoint < 0x10000) {
            add(0xE0 | codePoint >> 12);
        } else {
            add(0xF0 | codePoint >> 18);
            add(0x80 | (codePoint >> 12 & 0x3F));
        }
        add(0x80 | (codePoint >> 6 & 0x3F));
    }
    add(0x80 | (codePoint & 0x3F));
}

// How many bytes follow a first byte (RFC 3629), and the bits of the code point that are in it.
struct sUtf8Lead {
    size_t more;
    uint32_t bits;
    uint32_t smallest;  // a smaller code point would have a shorter form
};

std::optional<sUtf8Lead> utf8Lead(unsigned char byte) {
    if (byte < 0x80) return sUtf8Lead{0, byte, 0};
    if ((byte & 0xE0) == 0xC0) return sUtf8Lead{1, byte & 0x1Fu, 0x80};
    if ((byte & 0xF0) == 0xE0) return sUtf8Lead{2, byte & 0x0Fu, 0x800};
    if ((byte & 0xF8) == 0xF0) return sUtf8Lead{3, byte & 0x07u, 0x10000};
    return std::nullopt;
}

// The code point at a place, which moves past it; nothing if that is not valid UTF-8.
std::optional<uint32_t> decodeAt(const std::string& bytes, size_t& at) {
    const std::optional<sUtf8Lead> lead = utf8Lead(static_cast<unsigned char>(bytes[at]));
    if (!lead || bytes.size() - at <= lead->more) return std::nullopt;
    uint32_t codePoint = lead->bits;
    for (size_t i = 1; i <= lead->more; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[at + i]);
        if ((byte & 0xC0) != 0x80) return std::nullopt;
        codePoint = codePoint << 6 | (byte & 0x3Fu);
    }
    const bool isSurrogate = codePoint >= SURROGATES_FIRST && codePoint <= SURROGATES_LAST;
    if (codePoint < lead->smallest || codePoint > CODE_POINT_MAX || isSurrogate)
        return std::nullopt;
    at += lead->more + 1;
    return codePoint;
}

std::optional<std::string> printableUtf8(const std::string& bytes) {
    std::string text;
    for (size_t at = 0; at < bytes.size();) {
        const std::optional<uint32_t> codePoint = decodeAt(bytes, at);
        if (!codePoint) return std::nullopt;
        appendUtf8(text, isControl(*codePoint) ? '?' : *codePoint);
    }
    return text;
}

std::string printableLatin1(const std::string& bytes) {
    std::string text;
    for (const char c : bytes) {
        const auto codePoint = static_cast<unsigned char>(c);
        appendUtf8(text, isControl(codePoint) ? '?' : codePoint);
    }
    return text;
}

}  // namespace

std::string printableText(const std::string& bytes) {
    const std::optional<std::string> utf8 = printableUtf8(bytes);
    return utf8 ? *utf8 : printableLatin1(bytes);
}

std::string printableLine(const std::string& bytes) {
    std::string text = printableText(bytes);
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
    return text;
}

std::string beginningOf(const std::string& text, size_t maxBytes) {
    if (text.size() <= maxBytes) return text;
    size_t end = maxBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    return text.substr(0, end);
}
