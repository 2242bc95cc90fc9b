#include "recording/hidden_exchange.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "recording/characters.h"
#include "recording/json_line.h"

namespace {

// The longest line that is decided as a whole. A PDU has 400 characters.
constexpr size_t LINE_MAX = 4096;
constexpr size_t WAITING_EVENTS_MAX = 256;

// A known command's delay, USUAL_DELAY_MS.
constexpr char USUAL_DELAY[] = "10";
constexpr char LINE_END[] = "}\n";
constexpr size_t LINE_END_SIZE = sizeof LINE_END - 1;

constexpr char CTRL_Z = 0x1A;
constexpr char ESC = 0x1B;

// CR ends a command. Ctrl-Z and ESC end a message, and its echo; elsewhere they are garbage. A line
// feed is part of a written message.
bool isLineEnd(char c, eRecordedWay way, bool isMessage) {
    if (c == CTRL_Z || c == ESC) return isMessage || way == eRecordedWay::WRITE;
    return c == '\r' || (c == '\n' && way == eRecordedWay::READ);
}

}  // namespace

void cHiddenExchange::begin(bool keepIdentities) {
    endAllLines();
    forgetKnown();
    m_ready.clear();
    m_rules.keepIdentities(keepIdentities);
    for (sPortMemory& memory : m_memory) {
        memory.nowMs = 0;
        memory.echoes.restartClock();
    }
    settle();
}

void cHiddenExchange::expectUnknownEcho(eRecordedPort port) {
    sPortMemory& memory = memoryOf(port);
    memory.echoes.expectUnknown(memory.nowMs);
    settle();
}

void cHiddenExchange::addLine(const cTextBuffer& rest, uint64_t ms) {
    if (m_events.empty()) return emitLine(rest.data(), rest.size(), ms);
    m_events.push_back({eEvent::LINE, eRecordedPort::AT, eRecordedWay::READ, 0, ms, ms,
                        m_bytes.size(), rest.size()});
    m_bytes.append(rest.data(), rest.size());
    limitWaiting();
    emit();
    settle();
}

// ---- What is known --------------------------------------------------------------------------

void cHiddenExchange::emitOtherDelay(uint64_t delayMs) {
    if (delayMs >= 10 && delayMs < 100) {
        char* const digits = m_ready.end() - LINE_END_SIZE - 2;
        digits[0] = static_cast<char>('0' + delayMs / 10);
        digits[1] = static_cast<char>('0' + delayMs % 10);
        return;
    }
    m_ready.cut(sizeof USUAL_DELAY - 1 + LINE_END_SIZE);
    appendNumber(m_ready, delayMs);
    m_ready.append(LINE_END, LINE_END_SIZE);
}

bool cHiddenExchange::isSettled() const {
    const auto isOpen = [](const sOpenLine& open) { return open.isCut || !open.parts.empty(); };
    const auto isBusy = [](const sPortMemory& memory) {
        return memory.isAtPrompt || memory.messageLines != eMessageLines::NONE ||
               memory.isEchoExpected();
    };
    return m_events.empty() && std::none_of(std::begin(m_open), std::end(m_open), isOpen) &&
           std::none_of(std::begin(m_memory), std::end(m_memory), isBusy);
}

void cHiddenExchange::settle() {
    // A secret that is new may be in older lines.
    if (m_knownVersion != m_secrets.version()) forgetKnown();
    m_knownVersion = m_secrets.version();
    m_isSettled = isSettled();
}

// The rules have not seen a command that is known.
void cHiddenExchange::catchUp() {
    const sKnownCommand* const command = m_known.last();
    if (command == nullptr) return;
    memoryOf(eRecordedPort::AT).bareLine = command->bareLine;
    memoryOf(eRecordedPort::AT).plainCommand = command->text;
}

void cHiddenExchange::forgetKnown() {
    catchUp();
    m_known.forgetAll();
}

void cHiddenExchange::addUnknownBytes(eRecordedPort port, eRecordedWay way, const char* data,
                                      size_t size, uint64_t ms) {
    const bool wasKnownOn = isKnownOn(port) && way == eRecordedWay::READ;
    const size_t readyBefore = m_ready.size();
    addUnknown({eEvent::BYTES, port, way, 0, ms, ms, m_bytes.size(), size}, data, size);
    if (wasKnownOn && m_isSettled) m_known.keepAnswer(data, size, lineFrom(readyBefore));
}

// Marks the digits of whole lines that may be any others. Where a secret is replaced there are
// none: a part of another one may follow it.
std::string cHiddenExchange::freeDigitsOf(const std::string& bytes) const {
    std::string hidden = bytes;
    if (m_secrets.hideIn(hidden.data(), hidden.size())) return "";
    std::string marks(bytes.size(), '\0');
    for (size_t begin = 0, at = 0; at < bytes.size(); ++at) {
        if (!isLineEnd(bytes[at], eRecordedWay::READ, false)) continue;
        cLineRules::markFreeDigits(&bytes[begin], at - begin, &marks[begin]);
        begin = at + 1;
    }
    return marks;
}

// For a piece that did not come last time. False if it is not known for the last command, and not
// like one that is.
bool cHiddenExchange::emitLikeAnswer(const char* data, size_t size, uint64_t ms) {
    for (sKnownAnswer& answer : m_known.answers()) {
        if (answer.bytes.size() != size) continue;
        const sNewLine line = newLine(answer.line, ms);
        if (!isLike(answer, data, line.rest)) continue;
        m_ready.used(line.size);
        // It may well be the same next time.
        answer.bytes.assign(data, size);
        memcpy(answer.line.data(), line.rest, answer.line.size());
        m_known.noteAnswer(answer);
        return true;
    }
    return false;
}

// Makes the line of a known answer that of a like one. False if it is not like it.
bool cHiddenExchange::isLike(sKnownAnswer& known, const char* data, char* line) const {
    if (putDigits(known, data, line)) return true;
    if (known.areShiftsFound) return false;
    known.findShifts(freeDigitsOf(known.bytes));
    return putDigits(known, data, line);
}

inline bool cHiddenExchange::putDigitsOfWord(const sKnownAnswer& known, const char* data, size_t at,
                                             char* line) const {
    static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the first byte has the lowest bits");
    uint64_t other = wordAt(&known.bytes[at]) ^ wordAt(data + at);
    while (other != 0) {
        const auto byte = static_cast<unsigned>(__builtin_ctzll(other)) / 8;
        other &= ~(uint64_t{0xFF} << byte * 8);
        const size_t place = at + byte;
        const auto shift = static_cast<unsigned char>(known.shifts[place]);
        if (shift == 0 || !isDigit(data[place])) return false;
        if (m_secrets.mayHave(data, known.bytes.size(), place)) return false;
        line[place + shift] = data[place];
    }
    return true;
}

bool cHiddenExchange::putDigits(const sKnownAnswer& known, const char* data, char* line) const {
    const size_t size = known.bytes.size();
    if (known.shifts.empty()) return memcmp(known.bytes.data(), data, size) == 0;
    const size_t last = size - sizeof(uint64_t);
    for (size_t at = 0; at < last; at += sizeof(uint64_t))
        if (!putDigitsOfWord(known, data, at, line)) return false;
    return putDigitsOfWord(known, data, last, line);
}

void cHiddenExchange::addUnknownCommand(eRecordedPort port, const char* text, size_t size,
                                        uint64_t ms, uint64_t endMs) {
    const bool wasKnownOn = isKnownOn(port);
    const size_t readyBefore = m_ready.size();
    addUnknown({eEvent::COMMAND, port, eRecordedWay::WRITE, 0, ms, endMs, m_bytes.size(), size + 1},
               text, size);
    if (wasKnownOn && m_isSettled) keepCommand(text, size, readyBefore);
}

// A command depends on none before it, and if nothing of it was replaced, its answer on it alone.
void cHiddenExchange::keepCommand(const char* text, size_t size, size_t readyBefore) {
    const sPortMemory& memory = memoryOf(eRecordedPort::AT);
    const std::string& plain = memory.plainCommand;
    if (!isCommandLine(text, size) || plain.size() != size || plain.compare(0, size, text) != 0)
        return;
    std::string line(lineFrom(readyBefore));
    line.resize(line.rfind(':') + 1);
    m_known.keepCommand(plain, line + USUAL_DELAY + LINE_END, memory.bareLine);
}

// What follows the time in the line that has become ready.
std::string_view cHiddenExchange::lineFrom(size_t readyBefore) const {
    const std::string_view line(m_ready.data() + readyBefore, m_ready.size() - readyBefore);
    return line.substr(line.find(','));
}

// ---- What is not ----------------------------------------------------------------------------

void cHiddenExchange::addUnknown(const sEvent& event, const char* data, size_t size) {
    catchUp();
    if (event.way == eRecordedWay::WRITE) m_known.forgetLast();
    memoryOf(event.port).nowMs = event.endMs;
    m_events.push_back(event);
    m_bytes.append(data, size);
    if (event.what == eEvent::COMMAND) m_bytes += '\r';
    splitLines(m_events.back());
    endWhatNeedsNoLineEnd(event.port, event.way);
    limitWaiting();
    emit();
    settle();
}

void cHiddenExchange::splitLines(const sEvent& event) {
    const eRecordedPort port = event.port;
    const eRecordedWay way = event.way;
    sPortMemory& memory = memoryOf(port);
    const size_t end = event.at + event.size;
    size_t begin = event.at;
    for (size_t at = begin; at < end; ++at) {
        if (m_bytes[at] > ESC ||
            !isLineEnd(m_bytes[at], way, memory.messageLines != eMessageLines::NONE))
            continue;
        endLine(port, way, begin, at - begin);
        if (way == eRecordedWay::WRITE && m_bytes[at] != '\r') memory.isAtPrompt = false;
        begin = at + 1;
    }
    if (begin < end) keepOpen(port, way, begin, end - begin);
}

void cHiddenExchange::keepOpen(eRecordedPort port, eRecordedWay way, size_t at, size_t size) {
    sOpenLine& open = openLine(port, way);
    if (open.isCut) return hideText(&m_bytes[at], size);
    open.parts.push_back({m_events.size() - 1, at, size});
    open.size += size;
    ++m_events.back().openLines;
}

// The line's last bytes are at `at`; earlier ones may be in the pieces before.
void cHiddenExchange::endLine(eRecordedPort port, eRecordedWay way, size_t at, size_t size) {
    sOpenLine& open = openLine(port, way);
    if (open.isCut) {
        open.isCut = false;
        return hideText(&m_bytes[at], size);
    }
    if (open.parts.empty()) {
        if (size > 0) applyRules(port, way, &m_bytes[at], size);
        return;
    }
    m_line.clear();
    for (const sPart& part : open.parts)
        m_line.append(m_bytes, part.at, part.size);
    m_line.append(m_bytes, at, size);
    applyRules(port, way, m_line.data(), m_line.size());
    size_t from = 0;
    for (const sPart& part : open.parts) {
        m_bytes.replace(part.at, part.size, m_line, from, part.size);
        from += part.size;
        --m_events[part.event].openLines;
    }
    m_bytes.replace(at, size, m_line, from, size);
    open.parts.clear();
    open.size = 0;
}

void cHiddenExchange::applyRules(eRecordedPort port, eRecordedWay way, char* line, size_t size) {
    sPortMemory& memory = memoryOf(port);
    if (size > LINE_MAX)
        hideText(line, size);
    else if (way == eRecordedWay::WRITE)
        m_rules.hideWritten(line, size, memory);
    else
        m_rules.hideReceived(line, size, memory);
}

// The modem's prompt, and the escape that ends a GPS stream.
void cHiddenExchange::endWhatNeedsNoLineEnd(eRecordedPort port, eRecordedWay way) {
    const sOpenLine& open = openLine(port, way);
    if (open.parts.size() != 1 || open.size > 3) return;
    const sPart part = open.parts.front();
    const char* text = &m_bytes[part.at];
    const bool isPrompt =
        way == eRecordedWay::READ && part.size == 2 && text[0] == '>' && text[1] == ' ';
    const bool isEscape = way == eRecordedWay::WRITE && part.size == 3 && text[0] == '+' &&
                          text[1] == '+' && text[2] == '+';
    if (isPrompt || isEscape) endLine(port, way, part.at + part.size, 0);
}

// A modem that never ends its line must not fill the memory.
void cHiddenExchange::limitWaiting() {
    const bool isFull = m_events.size() - m_emitted > WAITING_EVENTS_MAX;
    for (sOpenLine& open : m_open) {
        if (open.parts.empty() || (!isFull && open.size <= LINE_MAX)) continue;
        for (const sPart& part : open.parts) {
            hideText(&m_bytes[part.at], part.size);
            --m_events[part.event].openLines;
        }
        open.parts.clear();
        open.size = 0;
        open.isCut = true;
    }
}

void cHiddenExchange::endLines(eRecordedPort port) {
    catchUp();
    m_known.forgetLast();
    for (const eRecordedWay way : {eRecordedWay::WRITE, eRecordedWay::READ})
        endLine(port, way, m_bytes.size(), 0);
    memoryOf(port).forgetLines();
    emit();
    settle();
}

void cHiddenExchange::endAllLines() {
    endLines(eRecordedPort::AT);
    endLines(eRecordedPort::GPS);
}

void cHiddenExchange::emit() {
    for (; m_emitted < m_events.size() && m_events[m_emitted].openLines == 0; ++m_emitted)
        emitEvent(m_events[m_emitted]);
    if (m_emitted < m_events.size()) return;
    m_events.clear();
    m_bytes.clear();
    m_emitted = 0;
}

void cHiddenExchange::emitLine(const char* rest, size_t size, uint64_t ms) {
    m_lineStart.append(m_ready, ms);
    m_ready.append(rest, size);
    m_ready.append(LINE_END, LINE_END_SIZE);
}

void cHiddenExchange::emitEvent(const sEvent& event) {
    if (event.what == eEvent::LINE) return emitLine(&m_bytes[event.at], event.size, event.ms);
    m_lineStart.append(m_ready, event.ms);
    m_ready.append(event.port == eRecordedPort::AT ? ",\"at\":" : ",\"gps\":");
    m_ready.append(event.way == eRecordedWay::WRITE ? "\"write\",\"data\":" : "\"read\",\"data\":");
    appendJsonText(m_ready, &m_bytes[event.at], event.size);
    if (event.what == eEvent::COMMAND) {
        m_ready.append(",\"cr\":");
        appendNumber(m_ready, event.endMs - event.ms);
    }
    m_ready.append(LINE_END, LINE_END_SIZE);
}
