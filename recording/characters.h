#ifndef RECORDING_CHARACTERS_H
#define RECORDING_CHARACTERS_H

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

#endif
