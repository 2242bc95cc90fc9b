#ifndef CLI_BASE_PRINTABLE_TEXT_H
#define CLI_BASE_PRINTABLE_TEXT_H

#include <string>

// Foreign text as UTF-8 for a terminal: read as UTF-8 if valid, otherwise as Latin-1. Control
// characters, which could control the terminal, become '?'; line feeds and tabs stay.
std::string printableText(const std::string& bytes);

// The same on one line: line feeds and tabs become blanks.
std::string printableLine(const std::string& bytes);

// The beginning of a text in UTF-8, of at most so many octets; ends between two characters.
std::string beginningOf(const std::string& text, size_t maxBytes);

#endif
