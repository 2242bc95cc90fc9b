#include "recording/known_exchanges.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr size_t HASHES = 32;
constexpr unsigned HASH_SHIFT = 64 - 5;

uint64_t wordAt(const char* bytes) {
    uint64_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

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

void cKnownExchanges::keepCommand(const std::string& text, const std::string& line,
                                  eBareLine bareLine) {
    m_last = nullptr;
    if (text.empty() || text.size() > BYTES_MAX || line.size() > LINE_MAX) return;
    if (m_groups.empty()) m_groups.resize(HASHES);
    sGroup& group = m_groups[hashOf(text.data(), text.size())];
    m_last = &group.commands[group.oldest++ % group.commands.size()];
    *m_last = {text, line, bareLine, {}, 0, nullptr};
}

void cKnownExchanges::keepAnswer(const char* bytes, size_t size, std::string_view line) {
    if (m_last == nullptr || size == 0 || size > BYTES_MAX || line.size() > LINE_MAX) return;
    std::vector<sKnownAnswer>& answers = m_last->answers;
    if (answers.size() < sKnownCommand::ANSWERS_MAX) answers.emplace_back();
    // Once there are enough of them, the memory of the oldest one is used again.
    const size_t place = m_last->nextAnswer++ % sKnownCommand::ANSWERS_MAX;
    answers[place].bytes.assign(bytes, size);
    answers[place].line.assign(line);
}

void cKnownExchanges::forgetAll() {
    m_groups.clear();
    m_last = nullptr;
}
