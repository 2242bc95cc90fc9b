#ifndef PLATFORM_INCLUDE_TEXT_HELPERS_H
#define PLATFORM_INCLUDE_TEXT_HELPERS_H

#include <cstddef>
#include <cstdint>
#include <string>

// White space is blank, TAB, LF, VT, FF and CR everywhere here; letters and digits are ASCII.

// What follows the first needle in text, up to the next terminator (not included) or to the end of
// the text where there is none. Empty when the needle is not there. Blanks and CR are kept.
std::string findNeedleString(const std::string& text, const std::string& needle,
                             const std::string& terminator);

// All white space removed.
std::string cleanWhiteSpace(const std::string& text);
// White space at both ends removed.
std::string cleanBeginEndWhiteSpace(const std::string& text);
// White space at the end removed.
std::string cleanEndWhiteSpace(const std::string& text);
// Every character that stands in characters removed.
std::string cleanCharsFromString(const std::string& text, const std::string& characters);
// Everything but the digits removed.
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

// As atoi (leading white space, a sign, digits, whatever follows is ignored; 0 where there is no
// number), but a number that does not fit ends at the nearest one that does.
int textToInt(const std::string& text);
long long textToLong(const std::string& text);

// A hexadecimal number of up to 64 bits as decimal text; empty for a text that is empty, too long
// or not hexadecimal.
std::string stringHexToStringDecimal(const std::string& text);

// Reads at most maxBytes of a regular file; a longer one is cut, not refused. Never blocks on a
// FIFO or a device: what is not a regular file is not read (errno EISDIR or EINVAL). Returns false,
// with errno set and out empty, when the file could not be read.
bool readFile2String(const std::string& path, std::string& out, size_t maxBytes);
// The same for folders that others write to: a symbolic link as last component is refused (ELOOP).
bool readFile2StringNoFollow(const std::string& path, std::string& out, size_t maxBytes);

#endif
