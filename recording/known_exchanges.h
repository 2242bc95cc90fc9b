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

// Beginning and end of two texts, each as long as a word.
template <typename tWord>
bool haveSameEnds(const char* one, const char* other, size_t size) {
    const size_t last = size - sizeof(tWord);
    return memcmp(one, other, sizeof(tWord)) == 0 &&
           memcmp(one + last, other + last, sizeof(tWord)) == 0;
}

// Most commands are so short that their beginning and their end are all of them. To compare these
// takes less than a call of memcmp().
inline bool isSameCommand(const std::string& kept, const char* text, size_t size) {
    if (kept.size() != size) return false;
    if (size > 2 * sizeof(uint64_t) || size < sizeof(uint32_t))
        return memcmp(kept.data(), text, size) == 0;
    return size < sizeof(uint64_t) ? haveSameEnds<uint32_t>(kept.data(), text, size)
                                   : haveSameEnds<uint64_t>(kept.data(), text, size);
}

// A piece of an answer, and the line that it became.
struct sKnownAnswer {
    std::string bytes;  // as they were on the port
    std::string line;   // of the recording, from the comma after the time on
    // Of each byte that may be any other digit: how many characters come before its own one in the
    // line beside those of the bytes before it. 0 for other bytes; empty if all are other ones, and
    // if they are fewer than a word.
    std::string shifts;
    // Most answers come again as they were, so this waits for one that does not.
    bool areShiftsFound = false;

    // marks has one for each byte: not 0 if it may be any other digit.
    void findShifts(std::string marks);
};

struct sKnownCommand;

// The commands that come after one, in turn: a poll asks for some things several times, and goes on
// with another command each time.
class cFollowers {
  public:
    cFollowers() { forget(); }
    // Its places point to each other.
    cFollowers(const cFollowers&) = delete;
    cFollowers& operator=(const cFollowers&) = delete;

    // Null if none is known.
    sKnownCommand* expected() const { return m_last->next->command; }
    void expectedCame() { m_last = m_last->next; }
    // Those that were expected before it, and did not come, are expected no longer.
    void otherCame(sKnownCommand* command);
    void forget();

  private:
    struct sPlace {
        sKnownCommand* command = nullptr;  // null if the place is free
        sPlace* next = nullptr;
    };
    static constexpr size_t PLACES = 4;

    sPlace& freePlace();

    // The places that are not free make a circle. At the beginning a free one is alone in it.
    std::array<sPlace, PLACES> m_places;
    sPlace* m_last = nullptr;  // came last
};

struct sKnownCommand {
    static constexpr size_t ANSWERS_MAX = 8;
    // What is longer is not kept.
    static constexpr size_t LINE_MAX = 80;

    std::string text;  // as it was written, without its carriage return; nothing of it is replaced
    // Of the recording, from the comma after the time on. It is copied whole: that is cheaper.
    std::array<char, LINE_MAX> line{};
    size_t lineSize = 0;
    eBareLine bareLine = eBareLine::UNKNOWN;
    std::vector<sKnownAnswer> answers;    // never moved
    size_t nextAnswer = 0;                // the oldest one, if there are ANSWERS_MAX
    const sKnownAnswer* usual = nullptr;  // came last time
    cFollowers followers;
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
        sKnownCommand* const next = m_last != nullptr ? m_last->followers.expected() : nullptr;
        if (next == nullptr || !isSameCommand(next->text, text, size))
            return m_last = search(text, size);
        m_last->followers.expectedCame();
        return m_last = next;
    }
    // Null if the last command was not answered with this piece last time.
    const sKnownAnswer* usualAnswer(const char* bytes, size_t size) const {
        const sKnownAnswer* const usual = m_last != nullptr ? m_last->usual : nullptr;
        return usual != nullptr && isSame(usual->bytes, bytes, size) ? usual : nullptr;
    }
    // What is known for the last command, which is known.
    std::vector<sKnownAnswer>& answers() { return m_last->answers; }
    // It came again, perhaps with other digits.
    void noteAnswer(const sKnownAnswer& answer) { m_last->usual = &answer; }

    // The command becomes the last one. It takes the place of the oldest one with its hash.
    void keepCommand(const std::string& text, std::string_view line, eBareLine bareLine);
    // For the last command, in the place of the oldest if there are too many.
    void keepAnswer(const char* bytes, size_t size, std::string_view line);

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
