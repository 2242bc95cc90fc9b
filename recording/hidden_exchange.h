#ifndef RECORDING_HIDDEN_EXCHANGE_H
#define RECORDING_HIDDEN_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "recording/json_line.h"
#include "recording/known_exchanges.h"
#include "recording/line_rules.h"

enum class eRecordedPort : uint8_t { AT, GPS };
enum class eRecordedWay : uint8_t { WRITE, READ };

// Turns what is written to and read from the ports into lines of a recording, with secrets and
// identities replaced. What may be recorded of a byte is decided by its line, and a line can come
// in any number of pieces: a piece waits here until all lines of which it has bytes have ended. It
// is then recorded as it came, with the time at which it came. What comes after it waits too, so
// that the order stays.
class cHiddenExchange {
  public:
    explicit cHiddenExchange(bool keepIdentities = false) : m_rules(m_secrets, keepIdentities) {}

    cHiddenExchange(const cHiddenExchange&) = delete;
    cHiddenExchange& operator=(const cHiddenExchange&) = delete;

    // Another recording begins. Secrets and stand-ins stay as they are.
    void begin(bool keepIdentities);

    // Most of what passes comes as it did last time, so that part is inline.
    void addBytes(eRecordedPort port, eRecordedWay way, const char* data, size_t size,
                  uint64_t ms) {
        if (isKnownOn(port) && way == eRecordedWay::READ) {
            const sKnownAnswer* const answer = m_known.usualAnswer(data, size);
            if (answer != nullptr) return emitKnown(answer->line, ms);
            if (m_known.last() != nullptr && emitLikeAnswer(data, size, ms)) return;
        }
        addUnknownBytes(port, way, data, size, ms);
    }
    // A command as it was written, whose carriage return was written at endMs. Both are one line.
    void addCommand(eRecordedPort port, const char* text, size_t size, uint64_t ms,
                    uint64_t endMs) {
        if (isKnownOn(port)) {
            const sKnownCommand* const command = m_known.findCommand(text, size);
            if (command != nullptr) return emitKnownCommand(*command, ms, endMs);
        }
        addUnknownCommand(port, text, size, ms, endMs);
    }
    // A whole line that is not bytes: what follows its time, without the end.
    void addLine(const cTextBuffer& rest, uint64_t ms);
    // A command that was written before may have had a secret, and its echo can still come.
    void expectUnknownEcho(eRecordedPort port);
    // The unfinished lines of a port end here: it was closed.
    void endLines(eRecordedPort port);
    // The same for all; afterwards nothing waits.
    void endAllLines();

    // What is ready to be written. The caller takes it and clears it.
    cTextBuffer& ready() { return m_ready; }

    // A new secret may be in what is known.
    cSecrets& secrets() {
        m_isSettled = false;
        return m_secrets;
    }
    const cSecrets& knownSecrets() const { return m_secrets; }
    cLineRules& rules() { return m_rules; }

  private:
    static constexpr size_t PORTS = 2;
    static constexpr size_t WAYS = 2;
    // After which the daemon writes a command's carriage return.
    static constexpr uint64_t USUAL_DELAY_MS = 10;

    enum class eEvent : uint8_t { BYTES, COMMAND, LINE };
    struct sEvent {
        eEvent what;
        eRecordedPort port;
        eRecordedWay way;
        unsigned openLines;  // that have bytes of it
        uint64_t ms;
        uint64_t endMs;  // of a command
        size_t at;       // in m_bytes
        size_t size;
    };
    // Bytes of an unfinished line.
    struct sPart {
        size_t event;
        size_t at;
        size_t size;
    };
    struct sOpenLine {
        std::vector<sPart> parts;
        size_t size = 0;
        bool isCut = false;  // too long: all of it is hidden
    };

    // A line after those that are ready, not yet one of them.
    struct sNewLine {
        char* rest;  // what comes after its time
        size_t size;
    };
    sNewLine newLine(const std::string& rest, uint64_t ms) {
        char* const text = m_ready.room(cLineStart::SIZE_MAX_TEXT + rest.size());
        const size_t size = m_lineStart.write(text, ms);
        memcpy(text + size, rest.data(), rest.size());
        return {text + size, size + rest.size()};
    }

    sPortMemory& memoryOf(eRecordedPort port) { return m_memory[static_cast<size_t>(port)]; }
    // The control port of the GPS receiver has few commands, once.
    bool isKnownOn(eRecordedPort port) const { return port == eRecordedPort::AT && m_isSettled; }
    sOpenLine& openLine(eRecordedPort port, eRecordedWay way) {
        return m_open[static_cast<size_t>(port) * WAYS + static_cast<size_t>(way)];
    }

    // Nothing waits, no line is open, no message is on its way and no echo with a secret: the same
    // command has the same line, and so has the same piece of an answer after it.
    bool isSettled() const;
    void settle();
    void catchUp();
    void forgetKnown();
    void emitKnown(const std::string& line, uint64_t ms) { m_ready.used(newLine(line, ms).size); }
    bool emitLikeAnswer(const char* data, size_t size, uint64_t ms);
    bool putDigits(const sKnownAnswer& known, const char* data, char* line) const;
    bool putDigitsOfWord(const sKnownAnswer& known, const char* data, size_t at, char* line) const;
    // The line is kept with the usual delay. Seldom more than the last digit is another one.
    void emitKnownCommand(const sKnownCommand& command, uint64_t ms, uint64_t endMs) {
        char* const text = m_ready.room(cLineStart::SIZE_MAX_TEXT + sizeof command.line);
        const size_t startSize = m_lineStart.write(text, ms);
        memcpy(text + startSize, command.line.data(), sizeof command.line);
        const size_t size = startSize + command.lineSize;
        m_ready.used(size);
        const uint64_t more = endMs - ms - USUAL_DELAY_MS;
        if (more >= 10) return emitOtherDelay(endMs - ms);
        text[size - 3] = static_cast<char>('0' + more);
    }
    void emitOtherDelay(uint64_t delayMs);
    void addUnknownBytes(eRecordedPort port, eRecordedWay way, const char* data, size_t size,
                         uint64_t ms);
    void addUnknownCommand(eRecordedPort port, const char* text, size_t size, uint64_t ms,
                           uint64_t endMs);
    void addUnknown(const sEvent& event, const char* data, size_t size);
    void keepCommand(const char* text, size_t size, size_t readyBefore);
    std::string_view lineFrom(size_t readyBefore) const;
    std::string freeDigitsOf(const std::string& bytes) const;
    bool isLike(sKnownAnswer& known, const char* data, char* line) const;
    void splitLines(const sEvent& event);
    void endLine(eRecordedPort port, eRecordedWay way, size_t at, size_t size);
    void applyRules(eRecordedPort port, eRecordedWay way, char* line, size_t size);
    void keepOpen(eRecordedPort port, eRecordedWay way, size_t at, size_t size);
    void endWhatNeedsNoLineEnd(eRecordedPort port, eRecordedWay way);
    void limitWaiting();
    void emit();
    void emitEvent(const sEvent& event);
    void emitLine(const char* rest, size_t size, uint64_t ms);

    cSecrets m_secrets;  // before the rules, which use it
    cLineRules m_rules;
    sPortMemory m_memory[PORTS];
    sOpenLine m_open[PORTS * WAYS];
    std::vector<sEvent> m_events;
    size_t m_emitted = 0;  // of m_events
    std::string m_bytes;
    std::string m_line;         // a line that came in pieces
    cKnownExchanges m_known;    // on the AT port
    size_t m_knownVersion = 0;  // of the secrets with which they were made
    bool m_isSettled = false;   // and what is known was made with the secrets of now
    cTextBuffer m_ready;
    cLineStart m_lineStart;
};

#endif
