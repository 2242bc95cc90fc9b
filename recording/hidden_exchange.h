#ifndef RECORDING_HIDDEN_EXCHANGE_H
#define RECORDING_HIDDEN_EXCHANGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "recording/json_line.h"
#include "recording/known_pieces.h"
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

    void addBytes(eRecordedPort port, eRecordedWay way, const char* data, size_t size, uint64_t ms);
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
    cLineRules& rules() { return m_rules; }

  private:
    static constexpr size_t PORTS = 2;
    static constexpr size_t WAYS = 2;

    struct sEvent {
        uint64_t ms;
        size_t at;  // in m_bytes
        size_t size;
        unsigned openLines;  // that have bytes of it
        bool isLine;
        eRecordedPort port;
        eRecordedWay way;
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

    // Nothing waits, no line is open, no message is on its way and no echo with a secret: the same
    // piece has the same line.
    bool isSettled() const;
    sOpenLine& openLine(eRecordedPort port, eRecordedWay way) {
        return m_open[static_cast<size_t>(port) * WAYS + static_cast<size_t>(way)];
    }
    // A command that is known, and of which the carriage return has yet to come.
    struct sKnownCommand {
        const sKnownPiece* piece = nullptr;
        eRecordedPort port = eRecordedPort::AT;
        uint64_t ms = 0;
    };

    void addKnown(const sKnownPiece& piece, eRecordedPort port, eRecordedWay way, uint64_t ms);
    void endKnownCommand(uint64_t ms);
    void emitKnown(const std::string& line, uint64_t ms);
    void settle();
    void addUnknown(eRecordedPort port, eRecordedWay way, const char* data, size_t size,
                    uint64_t ms);
    void applyKnownCommand();
    void keepKnown(const std::string& bytes, bool isCommand, size_t readyBefore, unsigned before,
                   unsigned after);
    unsigned stateOf(eRecordedPort port, eRecordedWay way) const;
    void splitLines(const sEvent& event);
    void endLine(eRecordedPort port, eRecordedWay way, size_t at, size_t size);
    void applyRules(eRecordedPort port, eRecordedWay way, char* line, size_t size);
    void keepOpen(eRecordedPort port, eRecordedWay way, size_t at, size_t size);
    void endWhatNeedsNoLineEnd(eRecordedPort port, eRecordedWay way);
    void limitWaiting();
    void emit();
    void emitEvent(const sEvent& event);

    cSecrets m_secrets;  // before the rules, which use it
    cLineRules m_rules;
    sPortMemory m_memory[PORTS];
    sOpenLine m_open[PORTS * WAYS];
    std::vector<sEvent> m_events;
    size_t m_emitted = 0;  // of m_events
    std::string m_bytes;
    std::string m_line;  // a line that came in pieces
    cKnownPieces m_known;
    size_t m_knownVersion = 0;  // of the secrets with which they were made
    bool m_isSettled = false;   // and what is known was made with the secrets of now
    sKnownCommand m_command;
    std::string m_rawCommand;  // a command as written, until it ends
    cTextBuffer m_ready;
    cLineStart m_lineStart;
};

#endif
