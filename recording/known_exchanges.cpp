#include "recording/known_exchanges.h"

#include <cstdint>
#include <cstring>
#include <utility>

namespace {

constexpr size_t HASHES = 32;
constexpr unsigned HASH_SHIFT = 64 - 5;

// Beginning, middle and end: what differs between commands.
size_t hashOf(const char* bytes, size_t size) {
    uint64_t hash = size;
    if (size >= sizeof hash) {
        hash ^= wordAt(bytes) ^ wordAt(bytes + (size - sizeof hash) / 2) << 7 ^
                wordAt(bytes + size - sizeof hash) << 13;
    } else {
        uint64_t word = 0;
        memcpy(&word, bytes, size);
        hash ^= word << 3;
    }
    return static_cast<size_t>((hash * 0x9E3779B97F4A7C15) >> HASH_SHIFT);
}

// How many characters of a JSON text stand for one byte.
size_t sizeInJson(const char* text) {
    if (text[0] == '\\') return text[1] == 'u' ? 6 : 2;
    return static_cast<unsigned char>(text[0]) < 0x80 ? 1 : 2;
}

// Makes of the marks where each marked byte is in the line. Empty if no byte is marked.
std::string shiftsOf(std::string marks, std::string_view line) {
    constexpr std::string_view DATA = "\"data\":\"";
    constexpr size_t SHIFT_MAX = UINT8_MAX;
    if (marks.size() < sizeof(uint64_t) || marks.find_first_not_of('\0') == std::string::npos)
        return "";
    size_t place = line.find(DATA) + DATA.size();
    for (size_t at = 0; at < marks.size(); ++at) {
        const size_t shift = place - at;
        if (marks[at] != '\0') marks[at] = static_cast<char>(shift <= SHIFT_MAX ? shift : 0);
        place += sizeInJson(&line[place]);
    }
    return marks;
}

}  // namespace

sKnownCommand* cKnownExchanges::search(const char* text, size_t size) {
    if (m_groups.empty() || size == 0) return nullptr;
    for (sKnownCommand& command : m_groups[hashOf(text, size)].commands) {
        if (!isSame(command.text, text, size)) continue;
        if (m_last != nullptr) m_last->next = &command;
        return &command;
    }
    return nullptr;
}

const sKnownAnswer* cKnownExchanges::answerAfter(const sKnownAnswer* before, size_t size) const {
    if (m_last == nullptr) return nullptr;
    const std::vector<sKnownAnswer>& answers = m_last->answers;
    const sKnownAnswer* const end = answers.data() + answers.size();
    const sKnownAnswer* answer = before == nullptr ? answers.data() : before + 1;
    while (answer != end && answer->bytes.size() != size)
        ++answer;
    return answer != end ? answer : nullptr;
}

void cKnownExchanges::keepCommand(const std::string& text, const std::string& line,
                                  eBareLine bareLine) {
    m_last = nullptr;
    if (text.empty() || text.size() > BYTES_MAX || line.size() > LINE_MAX) return;
    if (m_groups.empty()) m_groups.resize(HASHES);
    sGroup& group = m_groups[hashOf(text.data(), text.size())];
    m_last = &group.commands[group.oldest++ % group.commands.size()];
    *m_last = {text, line, bareLine, {}, 0, nullptr, nullptr};
}

void cKnownExchanges::keepAnswer(const char* bytes, size_t size, std::string_view line,
                                 std::string freeDigits) {
    if (m_last == nullptr || size == 0 || size > BYTES_MAX || line.size() > LINE_MAX) return;
    std::vector<sKnownAnswer>& answers = m_last->answers;
    answers.reserve(sKnownCommand::ANSWERS_MAX);
    if (answers.size() < sKnownCommand::ANSWERS_MAX) answers.emplace_back();
    // Once there are enough of them, the memory of the oldest one is used again.
    const size_t place = m_last->nextAnswer++ % sKnownCommand::ANSWERS_MAX;
    answers[place].bytes.assign(bytes, size);
    answers[place].line.assign(line);
    answers[place].shifts = shiftsOf(std::move(freeDigits), line);
    m_last->usual = &answers[place];
}

void cKnownExchanges::forgetAll() {
    m_groups.clear();
    m_last = nullptr;
}
