#ifndef MQTT_COMMAND_H
#define MQTT_COMMAND_H

#include <ctime>
#include <optional>
#include <string>

#include "mqtt/message_id.h"

// What an operator asks of a gateway, and its answer. docs/fleet.md describes both.

constexpr time_t DEADLINE_MAX_S = 24 * 3600;
constexpr int CONFIRM_LEAST_S = 30;
constexpr int CONFIRM_GREATEST_S = 3600;
constexpr int CONFIRM_DEFAULT_S = 300;
constexpr size_t CONFIG_FILE_MAX = 32 * 1024;

struct sCommand {
    std::string
        id;  // 1 to 64 letters, digits, '.', '_' and '-', made by who asks; never used again
    std::string by;       // who asks: 1 to 64 printable characters
    time_t deadline = 0;  // is not begun after it
    std::string name;     // "do": COMMAND_...
    // Its arguments; empty or nothing: not given.
    std::optional<int> slot;
    std::string want;             // data: on, off, auto
    std::string to;               // sms: the number
    std::string text;             // sms
    std::string at;               // at: the AT command
    std::string since;            // history, as "24h"
    std::string view;             // history: summary, outages, events, usage
    std::string file;             // config: the new file's content
    std::optional<int> confirmS;  // config: within which the gateway has to be back
};

constexpr const char* COMMAND_DATA = "data";
constexpr const char* COMMAND_RELOAD = "reload";
constexpr const char* COMMAND_SMS = "sms";
constexpr const char* COMMAND_AT = "at";
constexpr const char* COMMAND_DOCTOR = "doctor";
constexpr const char* COMMAND_HISTORY = "history";
constexpr const char* COMMAND_REPORT = "report";
constexpr const char* COMMAND_CONFIG = "config";

bool isCommandName(const std::string& name);
// "data, reload, ... or config", for messages.
std::string commandNames();

std::string commandText(const sCommand& command);

enum class eCommandUse {
    UNUSABLE,  // not a command with an id: nobody gets an answer
    REFUSED,   // id, by and name are as far as they could be read; the answer says why
    GOOD
};
struct sParsedCommand {
    eCommandUse use = eCommandUse::UNUSABLE;
    sCommand command;
    std::string why;  // if not GOOD
};
// Checks each argument: whether the command has it, its type, its bounds. An argument that the
// command does not have is refused, since it would not do what was asked.
sParsedCommand parseCommand(const std::string& text);

enum class eResult {
    DONE,
    FAILED,       // it was executed, without success
    REFUSED,      // not executed: not allowed, not understood, or too much at once
    EXPIRED,      // not executed: its deadline has passed
    REPEATED,     // its id was there before; not executed again
    INTERRUPTED,  // the agent or the host ended meanwhile; not executed again
    STARTED,      // config: applied, and waits for the line; another result follows
    CONFIRMED,    // config: the gateway is back, the new file stays
    ROLLED_BACK   // config: the old file is in force again
};
const char* resultWord(eResult result);
// How the text of REPEATED begins; the former result's word follows.
constexpr const char* REPEATED_BEGINS = "it was there before; what came of it: ";
inline bool isFinal(eResult result) {
    return result != eResult::STARTED;
}
inline bool isSuccess(eResult result) {
    return result == eResult::DONE || result == eResult::CONFIRMED;
}

// In each result, before it is encoded.
constexpr size_t RESULT_PART_MAX = 40 * 1024;

struct sResult {
    sMessageId id;
    time_t time = 0;
    std::string command;  // its id
    std::string name;     // "do"
    std::string by;
    eResult status = eResult::FAILED;
    std::string text;         // a sentence
    std::optional<int> exit;  // exit status of what was run
    std::string output;       // what it printed, or a part of it
    bool isBinary = false;    // the output is sent in base64 (RFC 4648)
    int part = 1;             // of a long output; status and text are in each part
    int parts = 1;
};
std::string resultText(const sResult& result);
std::optional<sResult> parseResult(const std::string& text);

#endif
