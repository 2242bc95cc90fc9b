#include "tests/matrix/faults.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace {

constexpr size_t KILOBYTE = 1024;
constexpr size_t GARBAGE_MAX = 128 * KILOBYTE;

const char* const UNSOLICITED[] = {
    "RING",      "+CMTI: \"SM\",7", "+CREG: 2",          "+CEREG: 1",      "#QSS: 0",
    "+PACSP0",   "NO CARRIER",      "+CGEV: NW DETACH",  "+CUSD: 0,\"x\"", "#MWI: 1,1,1",
    "+CIEV: 2,", "+CPIN: SIM PIN",  "+CGEV: ME CLASS B", "+CRING: VOICE",  "SRING: 1",
};

const int KNOWN_NUMBERS[] = {0, 3, 4, 10, 11, 12, 13, 14, 16, 21, 30, 50, 100, 107, 148, 555, 556};

const char* const TEXTS[] = {"SIM busy", "operation not allowed", "no network service",
                             "phone failure", ""};

const char* const SHELL_TEXTS[] = {
    "$(touch /tmp/canary)",
    "`touch /tmp/canary`",
    ";touch /tmp/canary;",
    "|touch /tmp/canary",
    "&touch /tmp/canary&",
    "&&touch /tmp/canary",
    "\ntouch /tmp/canary\n",
    "';touch /tmp/canary;'",
    "\";touch /tmp/canary;\"",
    ">/tmp/canary",
    " --dns 6.6.6.6",
    "-h",
    "$(touch${IFS}/tmp/canary)",
    "\\",
    "*",
    "~",
    " --down",
    "{touch,/tmp/canary}",
    "$HOME",
    "\t-i lo",
};

template <typename T, size_t SIZE>
const T& oneOf(const T (&list)[SIZE], std::mt19937_64& random) {
    return list[below(SIZE, random)];
}

std::string garbage(size_t count, std::mt19937_64& random) {
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

size_t garbageSize(eFault fault, std::mt19937_64& random) {
    if (fault == eGARBAGE_BYTES) return 1 + below(64, random);
    if (fault == eGARBAGE_KILOBYTES) return 65 + below(8 * KILOBYTE, random);
    return GARBAGE_MAX;
}

std::string inserted(const std::string& text, const std::string& extra, size_t at) {
    return text.substr(0, at) + extra + text.substr(at);
}

// Garbage instead of the answer, or anywhere in it, including echo and line ends.
std::string withGarbage(eFault fault, const std::string& whole, std::mt19937_64& random) {
    const std::string bytes = garbage(garbageSize(fault, random), random);
    if (below(4, random) == 0) return bytes;
    return inserted(whole, bytes, below(whole.size() + 1, random));
}

// The position after a line of the answer that is not its last.
size_t insideOf(const sAnswer& answer) {
    const size_t lineEnd = answer.body.find("\r\n", 2);
    return answer.echo.size() + (lineEnd == std::string::npos ? 0 : lineEnd + 2);
}

std::string withUnsolicited(eFault fault, const sAnswer& answer, std::mt19937_64& random) {
    const std::string line = "\r\n" + std::string(oneOf(UNSOLICITED, random)) + "\r\n";
    const std::string whole = answer.echo + answer.body;
    if (fault == eURC_BEFORE) return line + whole;
    if (fault == eURC_AFTER) return whole + line;
    return inserted(whole, line, insideOf(answer));
}

struct sInterjectionLine {
    const char* line;
    std::vector<std::string> answersTo;  // commands whose answer may look like the line
};

// The answer to ATI3 is a single word.
const sInterjectionLine INTERJECTIONS[] = {
    {"RING", {"ATI3"}},
    {"+CREG: 1", {}},
    {"+CEREG: 1", {}},
    {"+CGEV: NW DETACH", {}},
    {"#NITZ: 20/06/15,20:32:05-24,1", {}},
    {"+CMTI: \"SM\",7", {}},
    {"+PACSP0", {}},
    {"NO CARRIER", {"ATI3", "+++"}},
};

// "\r\n+CSQ: 17,99\r\n\r\nOK\r\n": where the final code's empty line begins. An answer without one
// ends there.
size_t finalOf(const std::string& body) {
    const size_t end = body.find_last_not_of("\r\n");
    const size_t lineStart = end == std::string::npos ? std::string::npos : body.rfind('\n', end);
    if (lineStart == std::string::npos || body[body.size() - 1] != '\n') return body.size();
    return lineStart > 0 ? lineStart - 1 : 0;
}

// After the first line of several, or else before the only one.
size_t betweenLinesOf(const std::string& body) {
    const size_t first = body.find("\r\n", 2);
    const size_t final = finalOf(body);
    if (first == std::string::npos || first + 2 >= final) return 0;
    return first + 2;
}

struct sField {
    size_t start;
    size_t length;
};

bool isFieldByte(char c) {
    return isalnum(static_cast<unsigned char>(c)) != 0 || c == '.';
}

// Numbers, names and addresses of an answer: neither its +NAME: nor its OK.
std::vector<sField> fieldsOf(const std::string& body) {
    std::vector<sField> fields;
    const size_t end = std::min(body.rfind("\r\nOK\r"), body.size());
    for (size_t at = 0; at < end; ++at) {
        if (!isFieldByte(body[at])) continue;
        const size_t start = at;
        while (at < end && isFieldByte(body[at]))
            ++at;
        const bool isName = start > 0 && (body[start - 1] == '+' || body[start - 1] == '#');
        if (!isName) fields.push_back({start, at - start});
    }
    return fields;
}

// In one field or in all of them: replacing it, or after it.
std::string withShellText(const std::string& body, std::mt19937_64& random) {
    std::string text = body;
    const std::string extra = oneOf(SHELL_TEXTS, random);
    const std::vector<sField> fields = fieldsOf(body);
    if (fields.empty()) return "\r\n" + extra + body;
    const bool isAfter = below(2, random) == 0;
    const bool inAll = below(3, random) == 0;
    const size_t chosen = below(fields.size(), random);
    for (size_t i = fields.size(); i-- > 0;) {
        if (!inAll && i != chosen) continue;
        if (isAfter)
            text.insert(fields[i].start + fields[i].length, extra);
        else
            text.replace(fields[i].start, fields[i].length, extra);
    }
    return text;
}

std::string cmeError(const std::string& value) {
    return "\r\n+CME ERROR: " + value + "\r\n";
}

}  // namespace

const std::vector<sFaultRow>& faultTable() {
    static const std::vector<sFaultRow> TABLE = {
        {eSILENCE, "silence", false},
        {eANSWER_LOST, "answer-lost", true},
        {eERROR, "error", false},
        {eCME_KNOWN, "cme-known", false},
        {eCME_UNKNOWN, "cme-unknown", false},
        {eCME_TEXT, "cme-text", false},
        {eCUT, "cut", true},
        {eGARBAGE_BYTES, "garbage-bytes", true},
        {eGARBAGE_KILOBYTES, "garbage-kilobytes", true},
        {eGARBAGE_FLOOD, "garbage-128k", true},
        {eURC_BEFORE, "urc-before", true},
        {eURC_INSIDE, "urc-inside", true},
        {eURC_AFTER, "urc-after", true},
        {eLATE, "late", true},
        {eOTHER, "other-answer", true},
        {eSHELL_TEXT, "shell-text", true},
        {eHANGUP, "hangup", false},
        {eHANGUP_LONG, "hangup-long", false},
        {eMIXED, "mixed", true},
    };
    return TABLE;
}

const sFaultRow& faultRow(eFault fault) {
    static const sFaultRow INTERJECTION = {eINTERJECTION, "unsolicited", true};
    if (fault == eINTERJECTION) return INTERJECTION;
    for (const sFaultRow& row : faultTable())
        if (row.fault == fault) return row;
    throw std::logic_error("a fault without a row");
}

std::string spoiledAnswer(eFault fault, const sAnswer& answer, const std::string& other,
                          std::mt19937_64& random) {
    const std::string whole = answer.echo + answer.body;
    switch (fault) {
        case eSILENCE:
        case eANSWER_LOST:
        case eHANGUP:
        case eHANGUP_LONG:
            return "";
        case eERROR:
            return answer.echo + "\r\nERROR\r\n";
        case eCME_KNOWN:
            return answer.echo + cmeError(std::to_string(oneOf(KNOWN_NUMBERS, random)));
        case eCME_UNKNOWN:
            return answer.echo + cmeError(std::to_string(7000 + below(2000, random)));
        case eCME_TEXT:
            return answer.echo + cmeError(oneOf(TEXTS, random));
        case eCUT:
            return whole.substr(0, below(whole.size() + 1, random));
        case eGARBAGE_BYTES:
        case eGARBAGE_KILOBYTES:
        case eGARBAGE_FLOOD:
            return withGarbage(fault, whole, random);
        case eURC_BEFORE:
        case eURC_INSIDE:
        case eURC_AFTER:
            return withUnsolicited(fault, answer, random);
        case eOTHER:
            return answer.echo + other;
        case eSHELL_TEXT:
            return answer.echo + withShellText(answer.body, random);
        case eLATE:
        case eMIXED:
        case eINTERJECTION:
            break;
    }
    return whole;
}

const std::vector<sInterjectionRow>& interjectionTable() {
    static const std::vector<sInterjectionRow> TABLE = {
        {eBEFORE_ANSWER, "before"},        {eBEFORE_ANSWER_APART, "before-apart"},
        {eBETWEEN_LINES, "between-lines"}, {eBETWEEN_LINES_APART, "between-lines-apart"},
        {eBEFORE_FINAL, "before-final"},   {eBEFORE_FINAL_APART, "before-final-apart"},
        {eAFTER_ANSWER, "after"},          {eAFTER_ANSWER_APART, "after-apart"},
    };
    return TABLE;
}

std::vector<std::string> interjectionsFor(eInterjectionPlace place, const std::string& command) {
    std::vector<std::string> lines;
    for (const sInterjectionLine& row : INTERJECTIONS) {
        const std::vector<std::string>& alike = row.answersTo;
        // It is read together with the answer to the next command.
        const bool isAlike = place == eAFTER_ANSWER_APART
                                 ? !alike.empty()
                                 : std::find(alike.begin(), alike.end(), command) != alike.end();
        if (!isAlike) lines.emplace_back(row.line);
    }
    return lines;
}

std::vector<std::string> interjected(eInterjectionPlace place, const sAnswer& answer,
                                     const std::string& line) {
    const std::string framed = "\r\n" + line + "\r\n";
    const std::string whole = answer.echo + answer.body;
    size_t at = 0;
    bool apart = true;
    switch (place) {
        case eBEFORE_ANSWER:
            apart = false;
            break;
        case eBEFORE_ANSWER_APART:
            break;
        case eBETWEEN_LINES:
            apart = false;
            [[fallthrough]];
        case eBETWEEN_LINES_APART:
            at = answer.echo.size() + betweenLinesOf(answer.body);
            break;
        case eBEFORE_FINAL:
            apart = false;
            [[fallthrough]];
        case eBEFORE_FINAL_APART:
            at = answer.echo.size() + finalOf(answer.body);
            break;
        case eAFTER_ANSWER:
            apart = false;
            [[fallthrough]];
        case eAFTER_ANSWER_APART:
            at = whole.size();
            break;
    }
    if (!apart) return {inserted(whole, framed, at)};
    return {whole.substr(0, at), framed, whole.substr(at)};
}

size_t below(size_t end, std::mt19937_64& random) {
    return static_cast<size_t>(random() % end);
}
