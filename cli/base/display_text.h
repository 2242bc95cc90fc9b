#ifndef CLI_BASE_DISPLAY_TEXT_H
#define CLI_BASE_DISPLAY_TEXT_H

#include <string>
#include <vector>

// Text laid out for a terminal. It has to be printable; widths are in characters: every one counts
// as one column.

constexpr size_t SCREEN_WIDTH = 79;  // no terminal wraps yet

// Every PIN-like number in quotes becomes '****': the daemon's outcome texts name the PIN.
std::string withoutSecrets(const std::string& text);

// The parts that are not empty.
std::string joined(const std::vector<std::string>& parts, const std::string& separator = ", ");

size_t displayWidth(const std::string& text);
// "no daemon runs" as the beginning of a sentence.
std::string capitalized(std::string text);
// Cut to a width; a text that is cut ends in '~'.
std::string cutTo(const std::string& text, size_t width);
// Cut or filled with blanks to a width.
std::string fitTo(const std::string& text, size_t width);

// Lines of at most width columns, broken at blanks; every line but the first is indented by
// indent blanks. A word that is longer than a line stands alone and is not broken.
std::vector<std::string> wrapText(const std::string& text, size_t width, size_t indent);

// The same for a list: breaks after commas, so that a label stays with its value; at blanks where
// an item is longer than a line.
std::vector<std::string> wrapList(const std::string& text, size_t width, size_t indent);

// "45 s", "12 min", "2 h 14 min", "3 d 4 h".
std::string durationText(long long seconds);

// "-98", "-9.5": at most one digit behind the point.
std::string shortNumber(double value);

#endif
