#ifndef RECORDING_JSON_LINE_H
#define RECORDING_JSON_LINE_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

// Text that grows at its end. Nothing is initialised before it is written, and an append that fits
// is inline: a recorder appends all the time.
class cTextBuffer {
  public:
    void append(const char* text, size_t size) {
        memcpy(room(size), text, size);
        m_size += size;
    }
    void append(const std::string& text) { append(text.data(), text.size()); }
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
    void append(cTextBuffer& line, uint64_t ms);

  private:
    void renew(uint64_t seconds);

    static constexpr size_t SIZE_MAX_TEXT = 32;
    uint64_t m_seconds = UINT64_MAX;
    size_t m_size = 0;  // of the text up to the digits of the second
    char m_text[SIZE_MAX_TEXT] = {};
};

#endif
