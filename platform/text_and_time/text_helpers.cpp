#include "platform/include/text_helpers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "platform/files/file_descriptor.h"

namespace {

const char WHITE_SPACE[] = " \t\n\v\f\r";
constexpr size_t MAX_HEX_DIGITS = 16;  // 64 bits

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The characters of WHITE_SPACE.
bool isWhiteSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

template <typename tPredicate>
std::string withoutCharacters(const std::string& text, tPredicate unwanted) {
    std::string kept = text;
    kept.erase(std::remove_if(kept.begin(), kept.end(), unwanted), kept.end());
    return kept;
}

template <typename tFunction>
std::string mapped(const std::string& text, tFunction function) {
    std::string result = text;
    std::transform(result.begin(), result.end(), result.begin(), function);
    return result;
}

// The value of a hexadecimal digit, -1 for anything else.
int hexDigitValue(char c) {
    if (isDigit(c)) return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The number at the start of text as atoi reads it, but limited to minimum and maximum.
long long saturatedNumber(const std::string& text, long long minimum, long long maximum) {
    size_t at = text.find_first_not_of(WHITE_SPACE);
    if (at == std::string::npos) return 0;
    const bool negative = text[at] == '-';
    if (negative || text[at] == '+') at++;
    // Counted downwards because the negative range is larger.
    long long value = 0;
    for (; at < text.size() && isDigit(text[at]); at++) {
        const int digit = text[at] - '0';
        if (value < (std::numeric_limits<long long>::min() + digit) / 10) {
            return negative ? minimum : maximum;
        }
        value = value * 10 - digit;
    }
    if (negative) return std::max(value, minimum);
    return value < -maximum ? maximum : -value;
}

// Opens a regular file for reading and never waits; -1 with errno for anything else.
int openRegularFile(const std::string& path, int extraFlags) {
    cFileDescriptor file(
        open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | extraFlags));
    return releaseRegularFile(file);
}

// Reads to the end or maxBytes: stat does not report the real size of a file in /sys or /proc.
bool readOpenFile(int fd, std::string& out, size_t maxBytes) {
    char buffer[4096];
    while (out.size() < maxBytes) {
        const size_t wanted = std::min(sizeof buffer, maxBytes - out.size());
        const ssize_t count = read(fd, buffer, wanted);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        if (count == 0) break;
        out.append(buffer, static_cast<size_t>(count));
    }
    return true;
}

bool readFile(const std::string& path, std::string& out, size_t maxBytes, int extraFlags) {
    out.clear();
    const cFileDescriptor file(openRegularFile(path, extraFlags));
    if (!file.isOpen()) return false;
    if (readOpenFile(file.get(), out, maxBytes)) return true;
    out.clear();
    return false;
}

}  // namespace

std::string findNeedleString(const std::string& text, const std::string& needle,
                             const std::string& terminator) {
    const size_t found = text.find(needle);
    if (found == std::string::npos) return "";
    const size_t begin = found + needle.size();
    const size_t end = terminator.empty() ? std::string::npos : text.find(terminator, begin);
    return text.substr(begin, end == std::string::npos ? end : end - begin);
}

std::string cleanWhiteSpace(const std::string& text) {
    return withoutCharacters(text, isWhiteSpace);
}

std::string cleanBeginEndWhiteSpace(const std::string& text) {
    const size_t begin = text.find_first_not_of(WHITE_SPACE);
    return begin == std::string::npos ? "" : cleanEndWhiteSpace(text.substr(begin));
}

std::string cleanEndWhiteSpace(const std::string& text) {
    return text.substr(0, text.find_last_not_of(WHITE_SPACE) + 1);
}

std::string cleanCharsFromString(const std::string& text, const std::string& characters) {
    return withoutCharacters(text, [&](char c) { return characters.find(c) != std::string::npos; });
}

std::string cleanNonNumeric(const std::string& text) {
    return withoutCharacters(text, [](char c) { return !isDigit(c); });
}

std::string stringLower(const std::string& text) {
    return mapped(text,
                  [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
}

std::string stringUpper(const std::string& text) {
    return mapped(text,
                  [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
}

bool startsWith(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

bool isStringNumeric(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

bool isNumericValue(const std::string& text) {
    const bool isSigned = startsWith(text, "+") || startsWith(text, "-");
    return isStringNumeric(isSigned ? text.substr(1) : text);
}

std::string itos(int value) {
    return std::to_string(value);
}

std::string ltos(long long value) {
    return std::to_string(value);
}

int textToInt(const std::string& text) {
    return static_cast<int>(
        saturatedNumber(text, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

long long textToLong(const std::string& text) {
    return saturatedNumber(text, std::numeric_limits<long long>::min(),
                           std::numeric_limits<long long>::max());
}

std::string stringHexToStringDecimal(const std::string& text) {
    if (text.empty() || text.size() > MAX_HEX_DIGITS) return "";
    uint64_t value = 0;
    for (const char c : text) {
        const int digit = hexDigitValue(c);
        if (digit < 0) return "";
        value = value << 4 | static_cast<uint64_t>(digit);
    }
    return std::to_string(value);
}

bool readFile2String(const std::string& path, std::string& out, size_t maxBytes) {
    return readFile(path, out, maxBytes, 0);
}

bool readFile2StringNoFollow(const std::string& path, std::string& out, size_t maxBytes) {
    return readFile(path, out, maxBytes, O_NOFOLLOW);
}
