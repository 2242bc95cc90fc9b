#ifndef RECORDING_JSON_LINE_H
#define RECORDING_JSON_LINE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

// Text that grows at its end. Nothing is initialised before it is written, and an append that fits
// is inline: a recorder appends all the time.
class cTextBuffer {
  public:
    void append(const char* text, size_t size) {
        memcpy(room(size), text, size);
        m_size += size;
    }
    void append(std::string_view text) { append(text.data(), text.size()); }
    void add(char character) {
        *room(1) = character;
        ++m_size;
    }
    // Space for this many characters after the text; used() takes those that were written.
    char* room(size_t size) {
        if (m_capacity - m_size < size) grow(size);
        return m_text.get() + m_size;
    }
    void used(size_t size) { m_size += size; }
    void cut(size_t size) { m_size -= size; }
    char* end() { return m_text.get() + m_size; }

    const char* data() const { return m_text.get(); }
    size_t size() const { return m_size; }
    bool empty() const { return m_size == 0; }
    // Of a text that is not empty.
    char last() const { return m_text[m_size - 1]; }
    void clear() { m_size = 0; }
    std::string text(size_t from = 0) const { return {data() + from, m_size - from}; }

  private:
    void grow(size_t size);

    std::unique_ptr<char[]> m_text;
    size_t m_size = 0;
    size_t m_capacity = 0;
};

// Appends a JSON string with its quotation marks. Each byte becomes the character of its number, so
// that none is lost.
void appendJsonText(cTextBuffer& line, const char* text, size_t size);
void appendJsonText(cTextBuffer& line, const std::string& text);

void appendNumber(cTextBuffer& line, uint64_t number);

// The beginning of lines, {"ms":12 without what follows. Lines come in the order of their times, so
// most digits are those of the line before.
class cLineStart {
  public:
    static constexpr size_t SIZE_MAX_TEXT = 32;

    // Writes SIZE_MAX_TEXT bytes, of which the first ones count; returns how many.
    size_t write(char* text, uint64_t ms) {
        const uint64_t rest = ms - m_secondMs;
        if (rest >= 1000) return writeOtherSecond(text, ms);
        const size_t size = m_size;
        memcpy(text, m_text, sizeof m_text);
        memcpy(text + size - DIGITS, &THREE_DIGITS[rest], sizeof THREE_DIGITS[rest]);
        return size;
    }
    void append(cTextBuffer& line, uint64_t ms) { line.used(write(line.room(SIZE_MAX_TEXT), ms)); }

  private:
    static constexpr size_t DIGITS = 3;
    // "000" to "999": to compute them takes longer. A word each, which is copied as a whole.
    using tDigits = std::array<char, DIGITS + 1>;
    static const std::array<tDigits, 1000> THREE_DIGITS;

    size_t writeOtherSecond(char* text, uint64_t ms);

    uint64_t m_secondMs = UINT64_MAX - 1000;  // none: in the first second there are fewer digits
    size_t m_size = 0;
    char m_text[SIZE_MAX_TEXT] = {};
};

#endif
