#ifndef ATCMD_COMMAND_H
#define ATCMD_COMMAND_H

#include <string>
#include <vector>

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "include/result_codes.h"
#include "platform/include/tokenstr.h"

// What all command functions share. A get function resets the fields that it fills, sends the
// command, and passes the response of an ePORT_OK to its parse function, which is pure: text in,
// fields out. A set function builds its command, sends it, and returns the result.

// Text and number of the last error that the modem reported by number. The text is empty if the
// last result had no known number.
extern std::string g_s_last_cmx_error;
extern ePortReturn g_e_last_cmx_error;

// Replaces ePORT_CMX_ERROR by the number of the "+CME ERROR:" or "+CMS ERROR:" line if that line is
// complete and numeric and the number is known. Other results do not change.
void parseCMXerror(ePortReturn& result, const std::string& response);

// The catalogue's text, followed by the arguments.
std::string commandText(eAtCmd command, const std::string& arguments = "");

// Which results of a command are passed to parseCMXerror, and so which of them replace the last
// error.
enum class eParseCmx {
    NEVER,         // a +CME or +CMS error stays ePORT_CMX_ERROR
    ON_CMX_ERROR,  // neither ERROR nor silence
    ON_REFUSAL,    // ERROR too
    ON_FAILURE,    // silence too
    ALWAYS,        // OK too: it clears the last error
};

// Sends a command and returns the transaction's result; parsing selects when a +CME or +CMS error
// becomes its number. response: the whole response, for callers who need it.
ePortReturn queryModem(int port, const std::string& command, eParseCmx parsing,
                       unsigned timeoutS = 0, std::string* response = nullptr);

// The same, and passes the response of an ePORT_OK to a parse function.
template <typename tRecord>
ePortReturn queryInto(int port, const std::string& command, eParseCmx parsing, tRecord& record,
                      void (*parse)(const std::string&, tRecord&), unsigned timeoutS = 0) {
    std::string response;
    const ePortReturn result = queryModem(port, command, parsing, timeoutS, &response);
    if (result == ePORT_OK) parse(response, record);
    return result;
}

// Logs a failed transaction with the function's name; a success logs nothing. cmeText names the
// error class in the message.
void logFailedCommand(const char* function, const std::string& command, ePortReturn result,
                      const char* cmeText = "CME_ERROR");

// No line of a valid reply is longer, and no reply has more lines: the operator list has a few
// thousand. The rest is dropped; otherwise a modem could fill the memory with fields.
constexpr size_t RESPONSE_LINE_MAX = 4096;
constexpr size_t RESPONSE_LINES_MAX = 16384;

// The text after the first prefix found at position from or later, up to the line end.
std::string responseRest(const std::string& response, const std::string& prefix, size_t from = 0);

// The same without any white space.
std::string responseField(const std::string& response, const std::string& prefix);

// The fields of a line. Each keeps its place: an empty one counts.
tokenstr splitFields(const std::string& line);

// The fields after the first prefix, without any white space.
tokenstr responseFields(const std::string& response, const std::string& prefix);

// The lines of a response, trimmed, without empty ones.
std::vector<std::string> responseLines(const std::string& response);

// The text after prefix in each line that begins with it.
std::vector<std::string> responseLinesAfter(const std::string& response, const std::string& prefix);

// A text of the modem, bounded for storing.
std::string modemText(const std::string& text);

// The same without white space at the ends and without double quotes: some modems of the family
// quote a value, others do not.
std::string unquotedText(const std::string& text);

std::string doubleQuoted(const std::string& text);

bool beginsWithDigit(const std::string& text);

#endif
