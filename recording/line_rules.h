#ifndef RECORDING_LINE_RULES_H
#define RECORDING_LINE_RULES_H

#include <cstddef>
#include <cstdint>

#include "recording/secrets.h"
#include "recording/stand_ins.h"

// What of a command's arguments may be recorded.
enum eArguments : uint8_t {
    eARGUMENTS_KEPT,
    eARGUMENTS_NUMBERS,         // quoted texts are numbers
    eARGUMENTS_SECRET,          // all
    eARGUMENTS_SECRET_AFTER_1,  // AT+CPWD="SC","1234","5678"
    eARGUMENTS_SECRET_AFTER_2,  // AT+CLCK="SC",0,"1234"
    eARGUMENTS_CREDENTIALS,     // AT#PDPAUTH=1,2,user,password
};

// What a line without a name (an answer to AT+CGSN, for example) may be; the last command says it.
enum class eBareLine { UNKNOWN, KEPT, IDENTITY };

// Which of the lines that a modem sends belong to a message.
enum class eMessageLines { NONE, NEXT_LINE, UNTIL_RESULT };

// What is known of a port between two lines.
struct sPortMemory {
    eBareLine bareLine = eBareLine::UNKNOWN;
    eMessageLines messageLines = eMessageLines::NONE;
    bool isAtPrompt = false;  // what is written next is a message
};

// Decides what of a line may be recorded, and replaces the rest in place. Lines are whole, without
// their line end. The length never changes.
class cLineRules {
  public:
    cLineRules(cSecrets& secrets, bool keepIdentities)
        : m_secrets(secrets), m_keepIdentities(keepIdentities) {}

    void keepIdentities(bool areKept) { m_keepIdentities = areKept; }

    void hideWritten(char* line, size_t size, sPortMemory& memory);
    void hideReceived(char* line, size_t size, sPortMemory& memory);
    // The modem's prompt "> ", which has no line end.
    static void notePrompt(sPortMemory& memory);

    // A value that is an identity throughout.
    void hideIdentity(char* text, size_t size);
    void hideSecrets(char* text, size_t size) const { m_secrets.hideIn(text, size); }
    // A line of a log: its commands lose their arguments if these may be secrets, and every long
    // number is an identity.
    void hideInText(char* text, size_t size);

  private:
    void hideCommands(char* line, size_t size, sPortMemory* memory);
    size_t hideNamedCommand(char* line, size_t size, sPortMemory* memory);
    void hideArguments(char* text, size_t size, eArguments rule, bool isWritten);
    void hideFrom(char* text, size_t size, size_t keptFields, size_t secretFrom, bool isWritten);
    void keepSecrets(const char* text, size_t size, size_t fieldsBefore, bool isOwnCommand);
    void hideNamed(char* line, size_t size, sPortMemory& memory);
    void hideBare(char* line, size_t size, const sPortMemory& memory);
    void hideMessage(char* text, size_t size);
    void hideQuotedNumbers(char* text, size_t size);
    void hideLongNumbers(char* text, size_t size);
    void hideEchoInside(char* line, size_t size);

    cSecrets& m_secrets;
    cStandIns m_standIns;
    bool m_keepIdentities;
};

// Whether a line is a final result code, ITU-T V.250 section 5.7.1.
bool isFinalResult(const char* line, size_t size);

#endif
