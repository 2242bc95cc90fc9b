#ifndef RECORDING_LINE_RULES_H
#define RECORDING_LINE_RULES_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "recording/line_names.h"
#include "recording/secret_echoes.h"
#include "recording/secrets.h"
#include "recording/stand_ins.h"

// Which of the lines that a modem sends belong to a message.
enum class eMessageLines {
    NONE,
    NEXT_LINE,  // after a header that nobody asked for
    LISTED,     // up to the result
    SENT,       // echo of a message, up to the answer to it
    // Nothing says where a text ends, and a line of it may look like a result: up to the next
    // command, what has no known name.
    REST,
};

// What is known of a port between two lines.
struct sPortMemory {
    eBareLine bareLine = eBareLine::UNKNOWN;
    eMessageLines messageLines = eMessageLines::NONE;
    bool isMessagePdu = false;  // of its lines, the last one; a PDU has no further lines
    bool isAtPrompt = false;    // what is written next is a message
    cSecretEchoes echoes;
    std::string plainCommand;  // written last, if nothing of it was replaced
    uint64_t nowMs = 0;        // the clock by which an echo can still come

    // The port was closed. An echo can come after it is open again.
    void forgetLines() {
        bareLine = eBareLine::UNKNOWN;
        messageLines = eMessageLines::NONE;
        isAtPrompt = false;
    }
    bool isEchoExpected() const { return echoes.isExpected(nowMs); }
};

// Decides what of a line may be recorded, and replaces the rest in place. Lines are whole, without
// their line end. The length never changes.
//
// What is written says what is secret. A received line stays as it came, but for these secrets, for
// what may be a part of the echo of a command that had one, and for identities.
class cLineRules {
  public:
    cLineRules(cSecrets& secrets, bool keepIdentities)
        : m_secrets(secrets), m_keepIdentities(keepIdentities) {}

    void keepIdentities(bool areKept) { m_keepIdentities = areKept; }

    void hideWritten(char* line, size_t size, sPortMemory& memory);
    void hideReceived(char* line, size_t size, sPortMemory& memory);
    // Marks the digits of a received line in whose places any other ones would stay as they are
    // too, unless they are of a secret.
    static void markFreeDigits(const char* line, size_t size, char* marks);
    // The modem's prompt "> ", which has no line end.
    static void notePrompt(sPortMemory& memory);

    // A value that is an identity throughout.
    void hideIdentity(char* text, size_t size);
    void hideSecrets(char* text, size_t size) const { m_secrets.hideIn(text, size); }
    // A line of a log: its commands lose their arguments if these may be secrets, every long number
    // is an identity, and many hexadecimal digits are a message.
    void hideInText(char* text, size_t size);

  private:
    // Where commands are found.
    struct sCommandPlace {
        sPortMemory* memory = nullptr;  // of the port on which they are written
        bool hasSecrets = true;         // arguments that nobody knows may be some
    };

    void hideCommands(char* line, size_t size, const sCommandPlace& place);
    size_t hideNamedCommand(char* line, size_t size, const sCommandPlace& place);
    void hideArguments(char* text, size_t size, eArguments rule, const sCommandPlace& place);
    void hideUnknownArguments(char* text, size_t size, const sCommandPlace& place);
    void hideFrom(char* text, size_t size, size_t keptFields, size_t secretFrom,
                  const sCommandPlace& place);
    void keepSecrets(const char* text, size_t size, size_t fieldsBefore, bool isOwnCommand);
    void hideAnswer(char* line, size_t size, sPortMemory& memory);
    void hideMessageLine(char* line, size_t size, sPortMemory& memory);
    bool hideEcho(char* line, size_t size, sPortMemory& memory);
    void hideNamed(char* line, size_t size, sPortMemory& memory);
    void hideCredentials(char* text, size_t size);
    void hideBare(char* line, size_t size, const sPortMemory& memory);
    void hideUnknown(char* text, size_t size);
    void hideMessage(char* text, size_t size);
    void hideQuotedNumbers(char* text, size_t size);
    void hideLongNumbers(char* text, size_t size);
    void hideLongHex(char* text, size_t size);
    void hideEchoInside(char* line, size_t size, bool hasSecrets);

    cSecrets& m_secrets;
    cStandIns m_standIns;
    bool m_keepIdentities;
    std::string m_written;     // the line before it was changed
    bool m_hidSecret = false;  // in the line that is written
};

// Whether a line is a final result code, ITU-T V.250 section 5.7.1.
bool isFinalResult(const char* line, size_t size);

#endif
