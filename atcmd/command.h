#ifndef ATCMD_COMMAND_H
#define ATCMD_COMMAND_H

#include <string>
#include <vector>

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "include/result_codes.h"
#include "platform/include/tokenstr.h"

// What all command functions share. A get function resets the fields it fills, sends, and hands the
// response of an ePORT_OK to its parse function, which is pure: text in, fields out. A set function
// builds its command, sends it, and returns what the modem said.

// Text and number of the last error that the modem named. The text is empty when the last result
// carried no number that is known.
extern std::string g_s_last_cmx_error;
extern ePortReturn g_e_last_cmx_error;

// Turns ePORT_CMX_ERROR into the number of the "+CME ERROR:" or "+CMS ERROR:" line, when that line
// is complete, numeric and the number is known. Other results are left as they are.
void parseCMXerror(ePortReturn& result, const std::string& response);

// The catalogue's text with the arguments behind it.
std::string commandText(eAtCmd command, const std::string& arguments = "");

// Which results of a command parseCMXerror gets to see, and so which of them replace the last
// error.
enum class eParseCmx {
    NEVER,         // a +CME or +CMS error stays ePORT_CMX_ERROR
    ON_CMX_ERROR,  // neither ERROR nor silence
    ON_REFUSAL,    // ERROR too
    ON_FAILURE,    // silence too
    ALWAYS,        // OK too: it clears the last error
};

// Sends a command and returns the transaction's result, with the number of a +CME or +CMS error
// where parsing says so. response: all that the modem said, for those who need it.
ePortReturn queryModem(int port, const std::string& command, eParseCmx parsing,
                       unsigned timeoutS = 0, std::string* response = nullptr);

// The same, with the response of an ePORT_OK handed to a parse function.
template <typename tRecord>
ePortReturn queryInto(int port, const std::string& command, eParseCmx parsing, tRecord& record,
                      void (*parse)(const std::string&, tRecord&), unsigned timeoutS = 0) {
    std::string response;
    const ePortReturn result = queryModem(port, command, parsing, timeoutS, &response);
    if (result == ePORT_OK) parse(response, record);
    return result;
}

// The log of a failed transaction, with the function's name; nothing for a success. cmeText names
// the error class in the message.
void logFailedCommand(const char* function, const std::string& command, ePortReturn result,
                      const char* cmeText = "CME_ERROR");

// No line of an honest reply is longer, and none has more lines: the operator list has a few
// thousand. What goes beyond is dropped, or a modem could fill the memory with fields.
constexpr size_t RESPONSE_LINE_MAX = 4096;
constexpr size_t RESPONSE_LINES_MAX = 16384;

// The text behind the first prefix that stands at from or later, up to the line end.
std::string responseRest(const std::string& response, const std::string& prefix, size_t from = 0);

// The same without any white space.
std::string responseField(const std::string& response, const std::string& prefix);

// The fields of a line. Each keeps its place: an empty one counts.
tokenstr splitFields(const std::string& line);

// The fields behind the first prefix, without any white space.
tokenstr responseFields(const std::string& response, const std::string& prefix);

// The lines of a response, trimmed, without empty ones.
std::vector<std::string> responseLines(const std::string& response);

// What stands behind prefix in each line that begins with it.
std::vector<std::string> responseLinesBehind(const std::string& response,
                                             const std::string& prefix);

// A text of the modem, bounded for storing.
std::string modemText(const std::string& text);

// The same without white space at the ends and without double quotes, which some modems of the
// family put around a value and others do not.
std::string unquotedText(const std::string& text);

std::string doubleQuoted(const std::string& text);

bool beginsWithDigit(const std::string& text);

#endif
