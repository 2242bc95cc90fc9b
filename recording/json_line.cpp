#include "recording/json_line.h"

#include <array>
#include <cstring>
#include <utility>

namespace {

constexpr size_t ESCAPE_MAX = 6;

// How a byte is written. It is copied as a whole: a word is one instruction.
struct sEscape {
    char text[ESCAPE_MAX + 1];
    unsigned char size;
};
static_assert(sizeof(sEscape) == sizeof(uint64_t));

constexpr sEscape escapeOf(unsigned byte) {
    constexpr char HEX[] = "0123456789abcdef";
    const char same = static_cast<char>(byte);
    if (byte == '"' || byte == '\\') return {{'\\', same}, 2};
    if (byte == '\r') return {{'\\', 'r'}, 2};
    if (byte == '\n') return {{'\\', 'n'}, 2};
    if (byte == '\t') return {{'\\', 't'}, 2};
    if (byte < 0x20 || byte == 0x7F)
        return {{'\\', 'u', '0', '0', HEX[byte >> 4], HEX[byte & 15]}, 6};
    if (byte < 0x80) return {{same}, 1};
    // UTF-8 of U+0080 to U+00FF
    return {{static_cast<char>(0xC0 | byte >> 6), static_cast<char>(0x80 | (byte & 0x3F))}, 2};
}

constexpr std::array<sEscape, 256> makeEscapes() {
    std::array<sEscape, 256> escapes{};
    for (unsigned byte = 0; byte < 256; ++byte)
        escapes[byte] = escapeOf(byte);
    return escapes;
}

constexpr std::array<sEscape, 256> ESCAPES = makeEscapes();

constexpr std::array<std::array<char, 4>, 1000> makeThreeDigits() {
    std::array<std::array<char, 4>, 1000> digits{};
    for (unsigned number = 0; number < 1000; ++number) {
        digits[number][0] = static_cast<char>('0' + number / 100);
        digits[number][1] = static_cast<char>('0' + number / 10 % 10);
        digits[number][2] = static_cast<char>('0' + number % 10);
    }
    return digits;
}

constexpr size_t BUFFER_MIN = 512;
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

const std::array<cLineStart::tDigits, 1000> cLineStart::THREE_DIGITS = makeThreeDigits();

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
    char* const begin = line.room(size * ESCAPE_MAX + 2 + sizeof(sEscape));
    char* end = begin;
    *end++ = '"';
    for (size_t at = 0; at < size; ++at) {
        const sEscape& escape = ESCAPES[static_cast<unsigned char>(text[at])];
        memcpy(end, &escape, sizeof escape);
        end += escape.size;
    }
    *end++ = '"';
    line.used(static_cast<size_t>(end - begin));
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
size_t cLineStart::writeOtherSecond(char* text, uint64_t ms) {
    static const char START[] = "{\"ms\":";
    constexpr size_t START_SIZE = sizeof START - 1;
    char digits[NUMBER_MAX];
    char* const end = digits + sizeof digits;
    const char* const begin = digitsBefore(end, ms);
    const auto count = static_cast<size_t>(end - begin);
    m_size = START_SIZE + count;
    memcpy(m_text, START, START_SIZE);
    memcpy(m_text + START_SIZE, begin, count);
    m_secondMs = ms < 1000 ? UINT64_MAX - 1000 : ms / 1000 * 1000;
    memcpy(text, m_text, sizeof m_text);
    return m_size;
}
