#ifndef PLATFORM_INCLUDE_TEXT_HELPERS_H
#define PLATFORM_INCLUDE_TEXT_HELPERS_H

#include <cstddef>
#include <cstdint>
#include <string>

// White space here is blank, TAB, LF, VT, FF and CR; letters and digits are ASCII.

// The text after the first needle, up to the next terminator (not included) or to the end of the
// text if there is none. Empty if the needle is missing. Blanks and CR are kept.
std::string findNeedleString(const std::string& text, const std::string& needle,
                             const std::string& terminator);

// Removes all white space.
std::string cleanWhiteSpace(const std::string& text);
// Removes white space at both ends.
std::string cleanBeginEndWhiteSpace(const std::string& text);
// Removes white space at the end.
std::string cleanEndWhiteSpace(const std::string& text);
// Removes every character that is in characters.
std::string cleanCharsFromString(const std::string& text, const std::string& characters);
// Removes everything but the digits.
std::string cleanNonNumeric(const std::string& text);

std::string stringLower(const std::string& text);
std::string stringUpper(const std::string& text);
bool startsWith(const std::string& text, const std::string& prefix);

// One or more decimal digits and nothing else.
bool isStringNumeric(const std::string& text);
// The same with one leading '+' or '-' allowed.
bool isNumericValue(const std::string& text);

std::string itos(int value);
std::string ltos(long long value);

// As atoi (leading white space, a sign, digits; the rest is ignored; 0 if there is no number), but
// a number out of range becomes the nearest limit.
int textToInt(const std::string& text);
long long textToLong(const std::string& text);

// A hexadecimal number of up to 64 bits as decimal text; empty for a text that is empty, too long
// or not hexadecimal.
std::string stringHexToStringDecimal(const std::string& text);

// Reads at most maxBytes of a regular file; a longer one is cut, not refused. Reads regular files
// only (otherwise errno is EISDIR or EINVAL), so it never blocks on a FIFO or a device. If the file
// cannot be read, returns false with errno set and out empty.
bool readFile2String(const std::string& path, std::string& out, size_t maxBytes);
// The same for folders that others write to: a symbolic link as last component is refused (ELOOP).
bool readFile2StringNoFollow(const std::string& path, std::string& out, size_t maxBytes);

#endif
