#include "recording/line_rules.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "recording/characters.h"
#include "recording/line_names.h"
#include "recording/pdu_stand_in.h"

namespace {

// Numbers of this many digits in an answer are identities: IMSI, IMEI, ICCID, telephone numbers.
constexpr size_t IDENTITY_DIGITS = 10;
// Of a number that is not quoted and has a place where telephone numbers are.
constexpr size_t UNQUOTED_NUMBER_DIGITS = 5;
// In lines that nobody knows, and of hexadecimal digits: the number of a SIM card, a message.
constexpr size_t UNKNOWN_NUMBER_DIGITS = 7;
constexpr size_t UNKNOWN_HEX_DIGITS = 14;
// Longest number that is kept where a secret may be. A PIN has four digits.
constexpr size_t SHORT_NUMBER = 3;
// An echo with an identity alone is not waited for as long as one with a secret.
constexpr uint64_t IDENTITY_ECHO_MS = 10000;
// Longest field that is kept before a secret: "SC", 1, 16.
constexpr size_t KEPT_FIELD = 2;

// Lines without a colon that a modem sends on its own.
constexpr std::string_view WORDS[] = {
    "OK",          "ERROR",   "CONNECT", "NO CARRIER", "RING",    "BUSY",     "NO ANSWER",
    "NO DIALTONE", "ABORTED", "+PACSP0", "+PACSP1",    "PB DONE", "SYSSTART",
};

constexpr std::string_view CME_ERROR = "+CME ERROR:";
constexpr std::string_view CMS_ERROR = "+CMS ERROR:";

constexpr std::array<bool, 256> makeNameStarts() {
    std::array<bool, 256> starts{};
    for (const unsigned char c : {'+', '#', '$', '%', '^', '*'})
        starts[c] = true;
    return starts;
}

constexpr std::array<bool, 256> NAME_STARTS = makeNameStarts();

bool isNameStart(char c) {
    return NAME_STARTS[static_cast<unsigned char>(c)];
}

bool startsWith(const char* text, size_t size, std::string_view prefix) {
    return size >= prefix.size() && memcmp(text, prefix.data(), prefix.size()) == 0;
}
bool equals(const char* text, size_t size, std::string_view other) {
    return size == other.size() && memcmp(text, other.data(), size) == 0;
}

bool isWord(const char* line, size_t size) {
    for (const std::string_view word : WORDS)
        if (equals(line, size, word)) return true;
    // "CONNECT 115200"
    return startsWith(line, size, "CONNECT ") && isNumber(line + 8, size - 8);
}

// Where the command of a written line begins; size if it has none. A modem ignores what comes
// before "AT".
size_t commandBegin(const char* line, size_t size) {
    size_t at = 0;
    while (at < size && !isAlphanumeric(line[at]))
        ++at;
    if (isCommandLine(line + at, size - at)) return at;
    for (; at + 2 < size; ++at) {
        if (!isCommandLine(line + at, size - at)) continue;
        size_t name = at + 2;
        while (name < size && line[name] == ' ')
            ++name;
        if (name < size && isNameStart(line[name])) return at;
    }
    return size;
}

// "+CSQ" or "+CSQ?"
bool isKnownName(std::string_view text) {
    if (text.empty() || !isNameStart(text[0])) return false;
    const sFoundName found = findName(text.data(), text.size());
    return found.row != nullptr && (found.size == text.size() || text[found.size] == '?');
}

std::string withoutBlanks(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return std::string(text);
}

// The end of a run of characters of one kind that begins at `at`.
template <typename tIsKind>
size_t runEnd(const char* text, size_t size, size_t at, tIsKind isKind) {
    while (at < size && isKind(text[at]))
        ++at;
    return at;
}

// How much comes before the whole echo of a command at a line's end: the rest of an answer that was
// cut. 0 if there is no such echo.
size_t sizeBeforeEcho(const char* line, size_t size, const std::string& command) {
    const size_t length = command.size();
    if (length <= 2 || length >= size || !isCommandLine(command.data(), length)) return 0;
    const size_t before = size - length;
    return isNameStart(command[2]) && equals(line + before, length, command) ? before : 0;
}

eMessageLines afterMessage(const sPortMemory& memory) {
    return memory.isMessagePdu ? eMessageLines::NONE : eMessageLines::REST;
}

// A line without a name.
bool isOfMessage(const char* line, size_t size, eMessageLines lines) {
    return lines != eMessageLines::NONE && (lines != eMessageLines::REST || !isWord(line, size));
}

// A line with one.
bool isOfMessage(eAnswer answer, eMessageLines lines) {
    switch (lines) {
        case eMessageLines::NONE:
            return false;
        case eMessageLines::NEXT_LINE:
        case eMessageLines::LISTED:
            return answer != eANSWER_MESSAGES;
        case eMessageLines::SENT:
            return answer != eANSWER_SENT && answer != eANSWER_MESSAGES;
        case eMessageLines::REST:
            return answer == eANSWER_UNKNOWN;
    }
    return true;
}

// Where a command begins in a line that begins with something else; size if there is none.
size_t commandInside(const char* line, size_t size) {
    for (size_t at = 1; at + 2 < size; ++at)
        if (isNameStart(line[at + 2]) && isCommandLine(line + at, size - at)) return at;
    return size;
}

// "+CSQ: 17,99"
bool isAnswer(const char* line, size_t size, const sFoundName& found) {
    return found.row != nullptr && found.size < size && line[found.size] == ':';
}

// "REC UNREAD", "STO SENT" and "20/06/15,20:32:05-20" in a message's header.
bool isStatusOrTime(const char* text, size_t size) {
    if (startsWith(text, size, "REC ") || startsWith(text, size, "STO ")) return true;
    for (size_t i = 0; i < size; ++i)
        if (isLetter(text[i]) || (!isDigit(text[i]) && strchr("/,:+- ", text[i]) == nullptr))
            return false;
    return size > 8 && text[2] == '/' && text[5] == '/';
}

// E0, I3, Z, &F, \Q3, S7=30: basic commands with at most three digits each. 0 if it is none of
// them.
size_t basicCommandSize(const char* text, size_t size) {
    size_t at = 0;
    if (text[0] == '&' || text[0] == '\\') ++at;
    if (at >= size || strchr("CEFHIKLMOPQSTVWXZ", upperOf(text[at])) == nullptr) return 0;
    size_t end = runEnd(text, size, at + 1, isDigit);
    if (end - at - 1 > SHORT_NUMBER) return 0;
    if (end < size && text[end] == '=' && upperOf(text[at]) == 'S') {
        const size_t value = end + 1;
        end = runEnd(text, size, value, isDigit);
        if (end - value > SHORT_NUMBER) return 0;
    }
    return end;
}

}  // namespace

bool isFinalResult(const char* line, size_t size) {
    return equals(line, size, "OK") || equals(line, size, "ERROR") ||
           startsWith(line, size, CME_ERROR) || startsWith(line, size, CMS_ERROR);
}

void cLineRules::notePrompt(sPortMemory& memory) {
    memory.isAtPrompt = true;
    memory.messageLines = eMessageLines::SENT;
    memory.isMessagePdu = false;
}

void cLineRules::hideWritten(char* line, size_t size, sPortMemory& memory) {
    // The rest of a line end: programs may end their lines with CR LF.
    for (; size > 0 && *line == '\n'; ++line)
        --size;
    if (size == 0 || equals(line, size, "+++")) return;
    const bool wasAtPrompt = memory.isAtPrompt;
    size_t begin = commandBegin(line, size);
    if (wasAtPrompt && begin > 0) begin = size;
    const bool isCommand = begin < size;
    m_written.assign(line, size);
    m_hidSecret = false;
    memory.isAtPrompt = false;
    if (isCommand && !wasAtPrompt) memory.messageLines = eMessageLines::NONE;
    // A modem may show a prompt that nobody wants, and a command follows.
    if (isCommand) {
        memory.bareLine = eBareLine::UNKNOWN;
        hideCommands(line + begin + 2, size - begin - 2, {&memory, true});
    }
    if (wasAtPrompt || begin > 0) hideMessage(line, wasAtPrompt ? size : begin);
    m_hidSecret |= m_secrets.hideIn(line, size);
    memory.plainCommand.clear();
    if (memcmp(line, m_written.data(), size) == 0) {
        memory.plainCommand = m_written;
        return;
    }
    memory.echoes.add(m_written, std::string(line, size), memory.nowMs,
                      m_hidSecret ? cSecretEchoes::ECHO_WAIT_MS : IDENTITY_ECHO_MS);
}

void cLineRules::hideReceived(char* line, size_t size, sPortMemory& memory) {
    if (size == 0) return;
    // The command is in the recording as it was written, so its echo has nothing to hide.
    const bool isEcho = equals(line, size, memory.plainCommand);
    const size_t before = isEcho ? 0 : sizeBeforeEcho(line, size, memory.plainCommand);
    if (!isEcho || memory.messageLines != eMessageLines::NONE)
        hideAnswer(line, before > 0 ? before : size, memory);
    hideSecrets(line, size);
}

void cLineRules::markFreeDigits(const char* line, size_t size, char* marks) {
    if (size == 0 || !isNameStart(line[0])) return;
    const sFoundName found = findName(line, size);
    if (!isAnswer(line, size, found) || found.row->answer != eANSWER_KEPT) return;
    if (commandInside(line, size) < size) return;
    for (size_t at = found.size; at < size; ++at) {
        const size_t end = runEnd(line, size, at, isDigit);
        if (end - at < IDENTITY_DIGITS) std::fill(marks + at, marks + end, '\1');
        at = end;
    }
}

void cLineRules::hideAnswer(char* line, size_t size, sPortMemory& memory) {
    if (memory.isEchoExpected() && hideEcho(line, size, memory)) return;
    const bool isCommand = isCommandLine(line, size);
    const sCommandPlace echo = {nullptr, memory.isEchoExpected()};
    if (memory.messageLines != eMessageLines::NONE && isFinalResult(line, size))
        memory.messageLines = afterMessage(memory);
    const bool isMessage = isOfMessage(line, size, memory.messageLines);
    if (isMessage && isCommand) hideCommands(line + 2, size - 2, echo);
    if (isNameStart(line[0])) {
        hideNamed(line, size, memory);
    } else if (isMessage) {
        hideMessageLine(line, size, memory);
    } else if (isCommand) {
        hideCommands(line + 2, size - 2, echo);
    } else if (line[0] == '>') {
        notePrompt(memory);
        hideMessage(line + 1, size - 1);
    } else {
        hideBare(line, size, memory);
    }
}

// Hides what may be a part of an echo. True if the line is a whole one.
bool cLineRules::hideEcho(char* line, size_t size, sPortMemory& memory) {
    if (isFinalResult(line, size) || isWord(line, size)) return false;
    if (equals(line, size, memory.plainCommand)) return false;
    eLineForm form = eLineForm::UNKNOWN;
    if (isPduLine(line, size)) {
        form = eLineForm::NAMED;
    } else if (isNameStart(line[0])) {
        if (isAnswer(line, size, findName(line, size))) form = eLineForm::NAMED;
    } else if (memory.bareLine != eBareLine::UNKNOWN && !isCommandLine(line, size)) {
        form = eLineForm::EXPECTED;
    }
    return memory.echoes.hideIn(line, size, form, memory.nowMs);
}

// ---- Commands -------------------------------------------------------------------------------

// What comes after "AT": commands, separated by semicolons.
void cLineRules::hideCommands(char* line, size_t size, const sCommandPlace& place) {
    for (size_t at = 0; at < size;) {
        if (line[at] == ';' || line[at] == ' ' || line[at] == '\n') {
            ++at;
            continue;
        }
        const size_t used = isNameStart(line[at]) ? hideNamedCommand(line + at, size - at, place)
                                                  : basicCommandSize(line + at, size - at);
        if (used == 0) return hideUnknownArguments(line + at, size - at, place);
        if (place.memory != nullptr && upperOf(line[at]) == 'I')
            place.memory->bareLine = eBareLine::KEPT;
        at += used;
    }
}

void cLineRules::hideUnknownArguments(char* text, size_t size, const sCommandPlace& place) {
    if (!place.hasSecrets) return hideUnknown(text, size);
    if (place.memory != nullptr) keepSecrets(text, size, 0, false);
    m_hidSecret = true;
    hideText(text, size);
}

// Returns how much of the line belongs to the command; 0 if it is not known where it ends.
size_t cLineRules::hideNamedCommand(char* line, size_t size, const sCommandPlace& place) {
    sPortMemory* const memory = place.memory;
    const sFoundName found = findName(line, size);
    size_t nameEnd = found.size;
    // "#ABC1234=5" may be anything.
    if (found.row == nullptr) nameEnd = runEnd(line, size, 1, isLetter);
    size_t end = nameEnd;
    if (end < size && line[end] == '=') ++end;
    if (end < size && line[end] == '?') return end + 1;
    if (memory != nullptr && found.row != nullptr && memory->bareLine == eBareLine::UNKNOWN)
        memory->bareLine = found.row->bareLine;
    if (end == nameEnd && (end == size || line[end] == ';') && nameEnd == found.size) return end;
    if (found.row == nullptr || end == nameEnd) {
        hideUnknownArguments(line + nameEnd, size - nameEnd, place);
        return size;
    }
    if (found.row->arguments != eARGUMENTS_KEPT && found.row->arguments != eARGUMENTS_NUMBERS) {
        hideArguments(line + end, size - end, found.row->arguments, place);
        return size;
    }
    const char* next = static_cast<const char*>(memchr(line + end, ';', size - end));
    const size_t last = next == nullptr ? size : static_cast<size_t>(next - line);
    hideArguments(line + end, last - end, found.row->arguments, place);
    return last;
}

void cLineRules::hideArguments(char* text, size_t size, eArguments rule,
                               const sCommandPlace& place) {
    switch (rule) {
        case eARGUMENTS_KEPT:
            return hideLongNumbers(text, size);
        case eARGUMENTS_NUMBERS:
            return hideQuotedNumbers(text, size);
        case eARGUMENTS_SECRET:
            return hideFrom(text, size, 0, 0, place);
        case eARGUMENTS_SECRET_AFTER_1:
            return hideFrom(text, size, 1, 1, place);
        case eARGUMENTS_SECRET_AFTER_2:
            return hideFrom(text, size, 2, 2, place);
        case eARGUMENTS_CREDENTIALS:
            // The user's name is hidden in its place alone: it is often that of the APN, too.
            return hideFrom(text, size, 2, 3, place);
    }
}

// Keeps the first fields if they are as short as they should be, and hides the rest.
void cLineRules::hideFrom(char* text, size_t size, size_t keptFields, size_t secretFrom,
                          const sCommandPlace& place) {
    if (place.memory != nullptr) keepSecrets(text, size, secretFrom, true);
    size_t at = 0;
    for (size_t field = 0; field < keptFields; ++field) {
        size_t end = at;
        if (end < size && text[end] == '"') ++end;
        const size_t word = end;
        end = runEnd(text, size, end, isAlphanumeric);
        if (end - word > KEPT_FIELD) break;
        if (end < size && text[end] == '"') ++end;
        if (end < size && text[end] != ',') break;
        at = end < size ? end + 1 : end;
    }
    m_hidSecret |= at < size;
    hideText(text + at, size - at);
}

// The fields after the first ones. Of commands that nobody knows, only texts with a digit: words
// like READY come in every answer.
void cLineRules::keepSecrets(const char* text, size_t size, size_t fieldsBefore,
                             bool isOwnCommand) {
    size_t field = 0;
    for (size_t at = 0; at < size; ++at) {
        const size_t begin = at;
        bool hasDigit = false;
        while (at < size && strchr(",;\"=", text[at]) == nullptr)
            hasDigit |= isDigit(text[at++]);
        // A command after that of the secret: its name comes in every answer.
        const std::string secret = withoutBlanks(std::string_view(text + begin, at - begin));
        if (field >= fieldsBefore && (isOwnCommand || hasDigit) && !isKnownName(secret))
            m_secrets.add(secret);
        if (at < size && text[at] == ',') ++field;
    }
}

// ---- Answers --------------------------------------------------------------------------------

void cLineRules::hideNamed(char* line, size_t size, sPortMemory& memory) {
    if (startsWith(line, size, CME_ERROR) || startsWith(line, size, CMS_ERROR) ||
        isWord(line, size))
        return hideLongNumbers(line, size);
    // A sentence of the GPS receiver: "$GPRMC,..."
    if (size > 6 && line[0] == '$' && line[1] == 'G' && line[6] == ',')
        return hideLongNumbers(line, size);
    const sFoundName found = findName(line, size);
    const eAnswer answer = isAnswer(line, size, found) ? found.row->answer : eANSWER_UNKNOWN;
    if (isOfMessage(answer, memory.messageLines)) return hideMessageLine(line, size, memory);
    hideEchoInside(line, size, memory.isEchoExpected());
    char* const rest = line + found.size;
    const size_t restSize = size - found.size;
    switch (answer) {
        case eANSWER_UNKNOWN:
            return memory.echoes.isUnknownExpected(memory.nowMs) ? hideCredentials(rest, restSize)
                                                                 : hideUnknown(rest, restSize);
        case eANSWER_CREDENTIALS:
            return hideCredentials(rest, restSize);
        case eANSWER_MESSAGES:
            memory.messageLines = eMessageLines::LISTED;
            memory.isMessagePdu = false;
            return hideQuotedNumbers(rest, restSize);
        case eANSWER_ONE_MESSAGE:
            memory.messageLines = eMessageLines::NEXT_LINE;
            memory.isMessagePdu = false;
            return hideQuotedNumbers(rest, restSize);
        case eANSWER_NUMBERS:
            return hideQuotedNumbers(rest, restSize);
        case eANSWER_SENT:
            if (memory.messageLines == eMessageLines::SENT)
                memory.messageLines = afterMessage(memory);
            return hideLongNumbers(rest, restSize);
        case eANSWER_KEPT:
            return hideLongNumbers(rest, restSize);
    }
}

// Short numbers are kept.
void cLineRules::hideCredentials(char* text, size_t size) {
    for (size_t at = 0; at < size;) {
        const size_t end = runEnd(text, size, at, isAlphanumeric);
        if (end - at > SHORT_NUMBER || !isNumber(text + at, end - at))
            hideText(text + at, end - at);
        at = end + 1;
    }
}

// An echo without a line end before it.
void cLineRules::hideEchoInside(char* line, size_t size, bool hasSecrets) {
    const size_t at = commandInside(line, size);
    if (at < size) hideCommands(line + at + 2, size - at - 2, {nullptr, hasSecrets});
}

void cLineRules::hideBare(char* line, size_t size, const sPortMemory& memory) {
    if (isWord(line, size)) return;
    hideEchoInside(line, size, memory.isEchoExpected());
    switch (memory.bareLine) {
        case eBareLine::UNKNOWN:
            return memory.echoes.isUnknownExpected(memory.nowMs) ? hideText(line, size)
                                                                 : hideUnknown(line, size);
        case eBareLine::KEPT:
            return hideLongNumbers(line, size);
        case eBareLine::IDENTITY:
            return hideIdentity(line, size);
    }
}

void cLineRules::hideMessageLine(char* line, size_t size, sPortMemory& memory) {
    if (memory.messageLines != eMessageLines::REST) memory.isMessagePdu = isPduLine(line, size);
    if (memory.messageLines == eMessageLines::NEXT_LINE) memory.messageLines = afterMessage(memory);
    hideMessage(line, size);
}

// ---- Identities -----------------------------------------------------------------------------

void cLineRules::hideMessage(char* text, size_t size) {
    if (m_keepIdentities) return;
    while (size > 0 && (*text == ' ' || *text == '>')) {
        ++text;
        --size;
    }
    if (isPduLine(text, size))
        replacePdu(m_standIns, text, size);
    else
        m_standIns.replaceText(text, size);
}

void cLineRules::hideIdentity(char* text, size_t size) {
    if (m_keepIdentities) return;
    for (size_t at = 0; at < size;) {
        const size_t end = runEnd(text, size, at, isAlphanumeric);
        if (end - at > SHORT_NUMBER) m_standIns.replaceText(text + at, end - at);
        at = end + 1;
    }
}

// What is long enough for a telephone number, a message, or an identity in hexadecimal digits.
void cLineRules::hideUnknown(char* text, size_t size) {
    if (m_keepIdentities) return;
    for (size_t at = 0; at < size; ++at) {
        const size_t digits = runEnd(text, size, at, isDigit) - at;
        const size_t hexDigits = runEnd(text, size, at, isHexDigit) - at;
        if (hexDigits >= UNKNOWN_HEX_DIGITS && hexDigits > digits)
            m_standIns.replaceText(text + at, hexDigits);
        else if (digits >= UNKNOWN_NUMBER_DIGITS)
            m_standIns.replaceNumber(text + at, digits);
        at += std::max(digits, hexDigits);
    }
}

// Quoted texts are names and numbers; so are longer numbers without quotation marks.
void cLineRules::hideQuotedNumbers(char* text, size_t size) {
    if (m_keepIdentities) return;
    for (size_t at = 0; at < size;) {
        size_t end = at + 1;
        if (text[at] == '"') {
            end = runEnd(text, size, end, [](char c) { return c != '"'; });
            if (!isStatusOrTime(text + at + 1, end - at - 1)) {
                size_t begin = at + 1;
                if (begin < end && text[begin] == '+') ++begin;
                m_standIns.replaceText(text + begin, end - begin);
            }
            ++end;
        } else if (isDigit(text[at])) {
            end = runEnd(text, size, at, isDigit);
            if (end - at >= UNQUOTED_NUMBER_DIGITS) m_standIns.replaceNumber(text + at, end - at);
        }
        at = end;
    }
}

void cLineRules::hideLongNumbers(char* text, size_t size) {
    if (m_keepIdentities) return;
    // A long run of digits has one of them at each of these places.
    for (size_t at = IDENTITY_DIGITS - 1; at < size; at += IDENTITY_DIGITS) {
        if (!isDigit(text[at])) continue;
        size_t begin = at;
        while (begin > 0 && isDigit(text[begin - 1]))
            --begin;
        const size_t end = runEnd(text, size, at, isDigit);
        if (end - begin < IDENTITY_DIGITS) continue;
        m_standIns.replaceNumber(text + begin, end - begin);
        at = end;
    }
}

// A message.
void cLineRules::hideLongHex(char* text, size_t size) {
    if (m_keepIdentities) return;
    for (size_t at = 0; at < size; ++at) {
        const size_t digits = runEnd(text, size, at, isHexDigit) - at;
        if (digits >= UNKNOWN_HEX_DIGITS && !isNumber(text + at, digits))
            m_standIns.replaceText(text + at, digits);
        at += digits;
    }
}

void cLineRules::hideInText(char* text, size_t size) {
    if (isCommandLine(text, size)) hideCommands(text + 2, size - 2, {});
    hideEchoInside(text, size, true);
    hideLongNumbers(text, size);
    hideLongHex(text, size);
    hideSecrets(text, size);
}
