#include "recording/known_exchanges.h"

#include <algorithm>
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

}  // namespace

void sKnownAnswer::findShifts(std::string marks) {
    constexpr std::string_view DATA = "\"data\":\"";
    constexpr size_t SHIFT_MAX = UINT8_MAX;
    areShiftsFound = true;
    const auto isMark = [](char mark) { return mark != '\0'; };
    if (marks.size() < sizeof(uint64_t) || std::none_of(marks.begin(), marks.end(), isMark)) return;
    size_t place = line.find(DATA) + DATA.size();
    for (size_t at = 0; at < marks.size(); ++at) {
        const size_t shift = place - at;
        if (isMark(marks[at])) marks[at] = static_cast<char>(shift <= SHIFT_MAX ? shift : 0);
        place += sizeInJson(&line[place]);
    }
    shifts = std::move(marks);
}

void cFollowers::otherCame(sKnownCommand* command) {
    sPlace* place = m_last->next;
    while (place != m_last && place->command != command)
        place = place->next;
    if (place->command == command) {
        for (sPlace* skipped = m_last->next; skipped != place; skipped = skipped->next)
            skipped->command = nullptr;
    } else {
        place = &freePlace();
        place->command = command;
    }
    m_last->next = place;
    m_last = place;
}

// It leads to the one that is expected. If none is free, it is that one.
cFollowers::sPlace& cFollowers::freePlace() {
    for (sPlace& place : m_places) {
        if (place.command != nullptr) continue;
        place.next = m_last->next;
        return place;
    }
    return *m_last->next;
}

void cFollowers::forget() {
    for (sPlace& place : m_places)
        place.command = nullptr;
    m_last = &m_places[0];
    m_last->next = m_last;
}

sKnownCommand* cKnownExchanges::search(const char* text, size_t size) {
    if (m_groups.empty() || size == 0) return nullptr;
    for (sKnownCommand& command : m_groups[hashOf(text, size)].commands) {
        if (!isSame(command.text, text, size)) continue;
        if (m_last != nullptr) m_last->followers.otherCame(&command);
        return &command;
    }
    return nullptr;
}

void cKnownExchanges::keepCommand(const std::string& text, std::string_view line,
                                  eBareLine bareLine) {
    m_last = nullptr;
    if (text.empty() || line.size() > sKnownCommand::LINE_MAX) return;
    if (m_groups.empty()) m_groups = std::vector<sGroup>(HASHES);
    sGroup& group = m_groups[hashOf(text.data(), text.size())];
    m_last = &group.commands[group.oldest++ % group.commands.size()];
    m_last->text = text;
    line.copy(m_last->line.data(), line.size());
    m_last->lineSize = line.size();
    m_last->bareLine = bareLine;
    m_last->answers.clear();
    m_last->nextAnswer = 0;
    m_last->usual = nullptr;
    m_last->followers.forget();
}

void cKnownExchanges::keepAnswer(const char* bytes, size_t size, std::string_view line) {
    if (m_last == nullptr || size == 0 || size > BYTES_MAX || line.size() > LINE_MAX) return;
    std::vector<sKnownAnswer>& answers = m_last->answers;
    answers.reserve(sKnownCommand::ANSWERS_MAX);
    if (answers.size() < sKnownCommand::ANSWERS_MAX) answers.emplace_back();
    // Once there are enough of them, the memory of the oldest one is used again.
    const size_t place = m_last->nextAnswer++ % sKnownCommand::ANSWERS_MAX;
    sKnownAnswer& answer = answers[place];
    answer.bytes.assign(bytes, size);
    answer.line.assign(line);
    answer.shifts.clear();
    answer.areShiftsFound = false;
    m_last->usual = &answer;
}

void cKnownExchanges::forgetAll() {
    m_groups.clear();
    m_last = nullptr;
}
