#ifndef RECORDING_CHARACTERS_H
#define RECORDING_CHARACTERS_H

#include <cstddef>

// Kinds of ASCII characters, whatever the locale.
inline bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
inline bool isHexDigit(char c) {
    return isDigit(c) || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}
inline bool isLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}
inline bool isAlphanumeric(char c) {
    return isDigit(c) || isLetter(c);
}
inline char upperOf(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// A command line begins with "AT", in capitals or not.
inline bool isCommandLine(const char* line, size_t size) {
    return size >= 2 && upperOf(line[0]) == 'A' && upperOf(line[1]) == 'T';
}

#endif
