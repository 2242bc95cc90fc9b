#ifndef RECORDING_KNOWN_EXCHANGES_H
#define RECORDING_KNOWN_EXCHANGES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "recording/line_names.h"

// Eight bytes, in the processor's order.
inline uint64_t wordAt(const char* bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

// A piece of an answer, and the line that it became.
struct sKnownAnswer {
    std::string bytes;  // as they were on the port
    std::string line;   // of the recording, from the comma after the time on
    // Of each byte that may be any other digit: how many characters come before its own one in the
    // line beside those of the bytes before it. 0 for other bytes; empty if all are other ones, and
    // if they are fewer than a word.
    std::string shifts;
};

struct sKnownCommand {
    static constexpr size_t ANSWERS_MAX = 8;

    std::string text;  // as it was written, without its carriage return; nothing of it is replaced
    std::string line;  // of the recording, from the comma after the time on
    eBareLine bareLine = eBareLine::UNKNOWN;
    std::vector<sKnownAnswer> answers;    // never moved
    size_t nextAnswer = 0;                // the oldest one, if there are ANSWERS_MAX
    const sKnownAnswer* usual = nullptr;  // came last time
    sKnownCommand* next = nullptr;        // came after it last time
};

// The lines of a recording that a port's commands and their answers became before: a daemon that
// polls sends and receives the same bytes again and again, or others with another signal or
// temperature in them, and to compare them is much cheaper than to apply the rules anew. What the
// rules make of an answer depends on its command, so it is known for that command alone.
class cKnownExchanges {
  public:
    // What is longer is not kept.
    static constexpr size_t BYTES_MAX = 256;
    static constexpr size_t LINE_MAX = 2 * BYTES_MAX;

    // The command that was written last, null if it is not known.
    const sKnownCommand* last() const { return m_last; }

    // Null if the command is not known; otherwise it is the last one.
    const sKnownCommand* findCommand(const char* text, size_t size) {
        // A poll has the same order each time.
        sKnownCommand* const next = m_last != nullptr ? m_last->next : nullptr;
        const bool isNext = next != nullptr && isSame(next->text, text, size);
        return m_last = isNext ? next : search(text, size);
    }
    // Null if the last command was not answered with this piece last time.
    const sKnownAnswer* usualAnswer(const char* bytes, size_t size) const {
        const sKnownAnswer* const usual = m_last != nullptr ? m_last->usual : nullptr;
        return usual != nullptr && isSame(usual->bytes, bytes, size) ? usual : nullptr;
    }
    // The next one of the answers that are known for the last command and have this size; null
    // after the last one.
    const sKnownAnswer* answerAfter(const sKnownAnswer* before, size_t size) const;
    // It came again, perhaps with other digits.
    void noteAnswer(const sKnownAnswer* answer) { m_last->usual = answer; }

    // The command becomes the last one. It takes the place of the oldest one with its hash.
    void keepCommand(const std::string& text, const std::string& line, eBareLine bareLine);
    // For the last command, in the place of the oldest if there are too many. freeDigits has a mark
    // for each byte: not 0 if it may be any other digit.
    void keepAnswer(const char* bytes, size_t size, std::string_view line, std::string freeDigits);

    // Something that is not known was written.
    void forgetLast() { m_last = nullptr; }
    void forgetAll();

  private:
    // Commands that have the same hash.
    struct sGroup {
        std::array<sKnownCommand, 4> commands;
        size_t oldest = 0;
    };

    static bool isSame(const std::string& kept, const char* bytes, size_t size) {
        return kept.size() == size && memcmp(kept.data(), bytes, size) == 0;
    }
    sKnownCommand* search(const char* text, size_t size);

    std::vector<sGroup> m_groups;  // never grows: a command keeps its place
    sKnownCommand* m_last = nullptr;
};

#endif
