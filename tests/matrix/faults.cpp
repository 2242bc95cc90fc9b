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

// Instead of the answer, or anywhere in it, echo and ends included.
std::string withGarbage(eFault fault, const std::string& whole, std::mt19937_64& random) {
    const std::string bytes = garbage(garbageSize(fault, random), random);
    if (below(4, random) == 0) return bytes;
    return inserted(whole, bytes, below(whole.size() + 1, random));
}

// Behind a line of the answer that is not its last.
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

// In one field or in all of them: instead of it, or behind it.
std::string withShellText(const std::string& body, std::mt19937_64& random) {
    std::string text = body;
    const std::string extra = oneOf(SHELL_TEXTS, random);
    const std::vector<sField> fields = fieldsOf(body);
    if (fields.empty()) return "\r\n" + extra + body;
    const bool behind = below(2, random) == 0;
    const bool inAll = below(3, random) == 0;
    const size_t chosen = below(fields.size(), random);
    for (size_t i = fields.size(); i-- > 0;) {
        if (!inAll && i != chosen) continue;
        if (behind)
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
            break;
    }
    return whole;
}

size_t below(size_t end, std::mt19937_64& random) {
    return static_cast<size_t>(random() % end);
}
