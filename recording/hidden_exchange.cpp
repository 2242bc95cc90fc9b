#include "recording/hidden_exchange.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "recording/json_line.h"

namespace {

// The longest line that is decided as a whole. A PDU has 400 characters.
constexpr size_t LINE_MAX = 4096;
constexpr size_t WAITING_EVENTS_MAX = 256;

// Ends the line of a command that is known, before the time to its carriage return.
constexpr char CARRIAGE_RETURN[] = "\\r\",\"cr\":";
constexpr char DATA_END[] = "\"}\n";

constexpr char LINE_END[] = "}\n";

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
    m_ready.clear();
    m_known.forgetAll();
    m_rules.keepIdentities(keepIdentities);
    for (sPortMemory& memory : m_memory) {
        memory.nowMs = 0;
        memory.echoes.restartClock();
    }
    settle();
}

void cHiddenExchange::expectUnknownEcho(eRecordedPort port) {
    sPortMemory& memory = m_memory[static_cast<size_t>(port)];
    memory.echoes.expectUnknown(memory.nowMs);
    settle();
}

// ---- What is known --------------------------------------------------------------------------

inline void cHiddenExchange::addKnown(const sKnownPiece& piece, eRecordedPort port,
                                      eRecordedWay way, uint64_t ms) {
    if (way == eRecordedWay::WRITE)
        m_command = {&piece, port, ms};
    else
        emitKnown(piece.line, ms);
}

// Beside the piece, what its line depends on.
inline unsigned cHiddenExchange::stateOf(eRecordedPort port, eRecordedWay way) const {
    const unsigned place = static_cast<unsigned>(port) * WAYS + static_cast<unsigned>(way);
    // A command does not depend on the one before it.
    if (way == eRecordedWay::WRITE) return place;
    return place + 4 * static_cast<unsigned>(m_memory[static_cast<size_t>(port)].bareLine);
}

inline void cHiddenExchange::emitKnown(const std::string& line, uint64_t ms) {
    char* const text = m_ready.room(cLineStart::SIZE_MAX_TEXT + line.size());
    const size_t size = m_lineStart.write(text, ms);
    memcpy(text + size, line.data(), line.size());
    m_ready.used(size + line.size());
}

void cHiddenExchange::endKnownCommand(uint64_t ms) {
    emitKnown(m_command.piece->line, m_command.ms);
    const uint64_t delayMs = ms - m_command.ms;
    if (delayMs >= 10 && delayMs < 20) {  // as the daemon waits
        m_ready.add('1');
        m_ready.add(static_cast<char>('0' + delayMs - 10));
    } else {
        appendNumber(m_ready, delayMs);
    }
    m_ready.append(LINE_END, sizeof LINE_END - 1);
    m_memory[static_cast<size_t>(m_command.port)].bareLine =
        static_cast<eBareLine>(m_command.piece->after);
    m_command.piece = nullptr;
}

void cHiddenExchange::addBytes(eRecordedPort port, eRecordedWay way, const char* data, size_t size,
                               uint64_t ms) {
    if (m_isSettled) {
        if (m_command.piece == nullptr) {
            const sKnownPiece* const piece = m_known.find(data, size, stateOf(port, way));
            if (piece != nullptr) return addKnown(*piece, port, way, ms);
        } else if (size == 1 && *data == '\r' && way == eRecordedWay::WRITE &&
                   port == m_command.port) {
            return endKnownCommand(ms);
        }
    }
    applyKnownCommand();
    addUnknown(port, way, data, size, ms);
    settle();
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
    if (m_knownVersion != m_secrets.version()) m_known.forgetAll();
    m_knownVersion = m_secrets.version();
    m_isSettled = isSettled();
}

// Something else than its carriage return came.
void cHiddenExchange::applyKnownCommand() {
    if (m_command.piece == nullptr) return;
    const sKnownCommand command = m_command;
    m_command.piece = nullptr;
    const std::string bytes = command.piece->bytes;
    addUnknown(command.port, eRecordedWay::WRITE, bytes.data(), bytes.size(), command.ms);
}

// ---- What is not ----------------------------------------------------------------------------

void cHiddenExchange::addUnknown(eRecordedPort port, eRecordedWay way, const char* data,
                                 size_t size, uint64_t ms) {
    m_memory[static_cast<size_t>(port)].nowMs = ms;
    const bool isBetween = isSettled();
    const unsigned before = stateOf(port, way);
    const bool isEndOfCommand = way == eRecordedWay::WRITE && size == 1 && *data == '\r' &&
                                m_events.size() == 1 && m_events.front().port == port &&
                                !m_rawCommand.empty();
    const size_t readyBefore = m_ready.size();
    m_events.push_back({ms, m_bytes.size(), size, 0, false, port, way});
    m_bytes.append(data, size);
    splitLines(m_events.back());
    endWhatNeedsNoLineEnd(port, way);
    limitWaiting();
    emit();
    const bool isBetweenNow = isSettled();
    if (isEndOfCommand && isBetweenNow)
        keepKnown(m_rawCommand, true, readyBefore, before,
                  static_cast<unsigned>(m_memory[static_cast<size_t>(port)].bareLine));
    if (isBetween && way == eRecordedWay::READ && isBetweenNow)
        keepKnown(std::string(data, size), false, readyBefore, before, 0);
    m_rawCommand.clear();
    const bool isBeginOfCommand = isBetween && way == eRecordedWay::WRITE && m_events.size() == 1 &&
                                  size <= cKnownPieces::PIECE_MAX;
    if (isBeginOfCommand) m_rawCommand.assign(data, size);
}

// Keeps the first line that has become ready.
void cHiddenExchange::keepKnown(const std::string& bytes, bool isCommand, size_t readyBefore,
                                unsigned before, unsigned after) {
    // A secret that was new may be in older lines.
    if (m_knownVersion != m_secrets.version()) return;
    const std::string lines = m_ready.text(readyBefore);
    const size_t comma = lines.find(',');
    std::string line = lines.substr(comma, lines.find('\n') + 1 - comma);
    if (isCommand)
        line.replace(line.size() - (sizeof DATA_END - 1), std::string::npos, CARRIAGE_RETURN);
    m_known.keep(bytes, line, before, after);
}

void cHiddenExchange::addLine(const cTextBuffer& rest, uint64_t ms) {
    applyKnownCommand();
    m_events.push_back(
        {ms, m_bytes.size(), rest.size(), 0, true, eRecordedPort::AT, eRecordedWay::READ});
    m_bytes.append(rest.data(), rest.size());
    limitWaiting();
    emit();
    settle();
}

void cHiddenExchange::splitLines(const sEvent& event) {
    const eRecordedPort port = event.port;
    const eRecordedWay way = event.way;
    sPortMemory& memory = m_memory[static_cast<size_t>(port)];
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
    sPortMemory& memory = m_memory[static_cast<size_t>(port)];
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
    applyKnownCommand();
    m_rawCommand.clear();
    for (const eRecordedWay way : {eRecordedWay::WRITE, eRecordedWay::READ})
        endLine(port, way, m_bytes.size(), 0);
    m_memory[static_cast<size_t>(port)].forgetLines();
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

void cHiddenExchange::emitEvent(const sEvent& event) {
    m_lineStart.append(m_ready, event.ms);
    if (event.isLine) {
        m_ready.append(&m_bytes[event.at], event.size);
    } else {
        m_ready.append(event.port == eRecordedPort::AT ? ",\"at\":" : ",\"gps\":");
        m_ready.append(event.way == eRecordedWay::WRITE ? "\"write\",\"data\":"
                                                        : "\"read\",\"data\":");
        appendJsonText(m_ready, &m_bytes[event.at], event.size);
    }
    m_ready.append(LINE_END, sizeof LINE_END - 1);
}
