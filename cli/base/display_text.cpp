#include "cli/base/display_text.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "platform/include/text_helpers.h"

namespace {

constexpr size_t PIN_MIN = 4;
constexpr size_t PIN_MAX = 8;

bool isContinuation(unsigned char byte) {
    return (byte & 0xc0) == 0x80;
}

// The code point that begins at a place of valid UTF-8.
uint32_t codePointAt(const std::string& text, size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    const uint32_t bits = lead < 0x80 ? 0x7f : lead < 0xe0 ? 0x1f : lead < 0xf0 ? 0x0f : 0x07;
    uint32_t codePoint = lead & bits;
    while (++at < text.size() && isContinuation(static_cast<unsigned char>(text[at])))
        codePoint = codePoint << 6 | (static_cast<unsigned char>(text[at]) & 0x3fu);
    return codePoint;
}

// Wide and fullwidth characters, and pictures (Unicode Standard Annex 11).
struct sRange {
    uint32_t first;
    uint32_t last;
};
constexpr sRange WIDE[] = {
    {0x1100, 0x115f},   {0x2e80, 0x303e},   {0x3041, 0xa4cf},   {0xac00, 0xd7a3},
    {0xf900, 0xfaff},   {0xfe30, 0xfe6f},   {0xff00, 0xff60},   {0xffe0, 0xffe6},
    {0x1f300, 0x1f64f}, {0x1f900, 0x1f9ff}, {0x20000, 0x3fffd},
};

// Of the character that begins there; 0 within one.
size_t columnsAt(const std::string& text, size_t at) {
    if (isContinuation(static_cast<unsigned char>(text[at]))) return 0;
    const uint32_t codePoint = codePointAt(text, at);
    const auto holds = [codePoint](const sRange& range) {
        return codePoint >= range.first && codePoint <= range.last;
    };
    return std::any_of(std::begin(WIDE), std::end(WIDE), holds) ? 2 : 1;
}

size_t digitsAt(const std::string& text, size_t at) {
    const size_t end = text.find_first_not_of("0123456789", at);
    return (end == std::string::npos ? text.size() : end) - at;
}

// Breaks at the blanks after such a text.
std::vector<std::string> wrap(const std::string& text, size_t width, size_t indent,
                              const std::string& after) {
    const std::string separator = after + " ";
    std::vector<std::string> lines;
    const size_t begin = std::min(text.find_first_not_of(' '), text.size());
    std::string line = text.substr(0, begin);
    bool isFirst = true;
    for (size_t start = begin; start <= text.size();) {
        const size_t found = text.find(separator, start);
        const size_t end = found == std::string::npos ? text.size() : found + after.size();
        const std::string piece = text.substr(start, end - start);
        start = end + 1;
        if (!isFirst && displayWidth(line) + 1 + displayWidth(piece) > width) {
            lines.push_back(line);
            line = std::string(indent, ' ') + piece;
        } else {
            line += (isFirst ? "" : " ") + piece;
        }
        isFirst = false;
    }
    lines.push_back(line);
    return lines;
}

}  // namespace

std::string withoutSecrets(const std::string& text) {
    std::string masked;
    for (size_t at = 0; at < text.size();) {
        const size_t digits = text[at] == '\'' ? digitsAt(text, at + 1) : 0;
        const size_t close = at + 1 + digits;
        const bool isPin =
            digits >= PIN_MIN && digits <= PIN_MAX && close < text.size() && text[close] == '\'';
        masked += isPin ? "'****'" : text.substr(at, 1);
        at = isPin ? close + 1 : at + 1;
    }
    return masked;
}

std::string joined(const std::vector<std::string>& parts, const std::string& separator) {
    std::string text;
    for (const std::string& part : parts)
        if (!part.empty()) text += (text.empty() ? "" : separator) + part;
    return text;
}

size_t displayWidth(const std::string& text) {
    size_t width = 0;
    for (size_t at = 0; at < text.size(); ++at)
        width += columnsAt(text, at);
    return width;
}

std::string capitalized(std::string text) {
    if (!text.empty()) text[0] = static_cast<char>(toupper(static_cast<unsigned char>(text[0])));
    return text;
}

std::string cutTo(const std::string& text, size_t width) {
    if (displayWidth(text) <= width) return text;
    if (width == 0) return "";
    size_t end = 0;
    for (size_t columns = 0; end < text.size(); ++end) {
        columns += columnsAt(text, end);
        if (columns >= width) break;
    }
    return text.substr(0, end) + "~";
}

std::string fitTo(const std::string& text, size_t width) {
    const std::string cut = cutTo(text, width);
    return cut + std::string(width - displayWidth(cut), ' ');
}

std::vector<std::string> wrapText(const std::string& text, size_t width, size_t indent) {
    return wrap(text, width, indent, "");
}

std::vector<std::string> wrapList(const std::string& text, size_t width, size_t indent) {
    const std::vector<std::string> lines = wrap(text, width, indent, ",");
    const bool fits = std::all_of(lines.begin(), lines.end(), [width](const std::string& line) {
        return displayWidth(line) <= width;
    });
    return fits ? lines : wrapText(text, width, indent);
}

std::string durationText(long long seconds) {
    const long long minutes = seconds / 60;
    const long long hours = minutes / 60;
    const long long days = hours / 24;
    if (minutes == 0) return ltos(seconds) + " s";
    if (hours == 0) return ltos(minutes) + " min";
    if (days == 0) return ltos(hours) + " h " + ltos(minutes % 60) + " min";
    return ltos(days) + " d " + ltos(hours % 24) + " h";
}

std::string shortNumber(double value) {
    char text[32];
    const bool isWhole = std::fabs(value - std::round(value)) < 0.05;
    snprintf(text, sizeof text, isWhole ? "%.0f" : "%.1f", value);
    return text;
}
