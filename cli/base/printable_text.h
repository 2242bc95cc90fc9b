#ifndef CLI_BASE_PRINTABLE_TEXT_H
#define CLI_BASE_PRINTABLE_TEXT_H

#include <string>

// Text of somebody else as UTF-8 for a terminal: taken as UTF-8 where it is valid, else as Latin-1.
// Control characters, which could steer the terminal, become '?'; line feeds and tabs stay.
std::string printableText(const std::string& bytes);

// The same on one line: line feeds and tabs become blanks.
std::string printableLine(const std::string& bytes);

#endif
