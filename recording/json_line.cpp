#include "recording/json_line.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

// How a byte is written, empty for those that stay as they are.
struct sEscape {
    char text[7];
    unsigned char size;
};

std::array<sEscape, 256> makeEscapes() {
    std::array<sEscape, 256> escapes{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        sEscape& escape = escapes[byte];
        int size = 0;
        if (byte == '"' || byte == '\\')
            size = snprintf(escape.text, sizeof escape.text, "\\%c", static_cast<int>(byte));
        else if (byte == '\r' || byte == '\n' || byte == '\t')
            size = snprintf(escape.text, sizeof escape.text, "\\%c",
                            byte == '\r' ? 'r' : (byte == '\n' ? 'n' : 't'));
        else if (byte < 0x20 || byte == 0x7F)
            size = snprintf(escape.text, sizeof escape.text, "\\u%04x", byte);
        else if (byte >= 0x80)  // UTF-8 of U+0080 to U+00FF
            size = snprintf(escape.text, sizeof escape.text, "%c%c",
                            static_cast<int>(0xC0 | byte >> 6),
                            static_cast<int>(0x80 | (byte & 0x3F)));
        escape.size = static_cast<unsigned char>(size);
    }
    return escapes;
}

constexpr size_t BUFFER_MIN = 4096;
constexpr size_t NUMBER_MAX = 20;

// Writes the digits before `end`; returns where they begin.
char* digitsBefore(char* end, uint64_t number) {
    do {
        *--end = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number > 0);
    return end;
}

}  // namespace

void cTextBuffer::grow(size_t size) {
    size_t capacity = m_capacity < BUFFER_MIN ? BUFFER_MIN : m_capacity * 2;
    while (capacity - m_size < size)
        capacity *= 2;
    std::unique_ptr<char[]> text(new char[capacity]);
    if (m_size > 0) memcpy(text.get(), m_text.get(), m_size);
    m_text = std::move(text);
    m_capacity = capacity;
}

void appendJsonText(cTextBuffer& line, const char* text, size_t size) {
    static const std::array<sEscape, 256> ESCAPES = makeEscapes();
    line.add('"');
    size_t begin = 0;
    for (size_t at = 0; at < size; ++at) {
        const sEscape& escape = ESCAPES[static_cast<unsigned char>(text[at])];
        if (escape.size == 0) continue;
        line.append(text + begin, at - begin);
        line.append(escape.text, escape.size);
        begin = at + 1;
    }
    line.append(text + begin, size - begin);
    line.add('"');
}

void appendJsonText(cTextBuffer& line, const std::string& text) {
    appendJsonText(line, text.data(), text.size());
}

void appendNumber(cTextBuffer& line, uint64_t number) {
    char digits[NUMBER_MAX];
    char* const end = digits + sizeof digits;
    const char* const begin = digitsBefore(end, number);
    line.append(begin, static_cast<size_t>(end - begin));
}

// Another second than that of the line before. In the first one there are no zeros before a number.
void cLineStart::changeSecond() {
    static const char START[] = "{\"ms\":";
    constexpr size_t START_SIZE = sizeof START - 1;
    char digits[NUMBER_MAX];
    char* const end = digits + sizeof digits;
    const char* const begin = digitsBefore(end, m_ms);
    const auto count = static_cast<size_t>(end - begin);
    m_size = START_SIZE + count;
    memcpy(m_text, START, START_SIZE);
    memcpy(m_text + START_SIZE, begin, count);
    m_secondMs = m_ms < 1000 ? UINT64_MAX - 1000 : m_ms / 1000 * 1000;
}
