#ifndef CLI_BASE_DISPLAY_TEXT_H
#define CLI_BASE_DISPLAY_TEXT_H

#include <string>
#include <vector>

// Lays text out for a terminal. The text must be printable; widths are in columns: most characters
// take one, those of Chinese, Japanese and Korean and pictures two.

constexpr size_t SCREEN_WIDTH = 79;  // no terminal wraps a line of this length

// Every PIN-like number in quotes becomes '****', because the daemon's outcome texts contain the
// PIN.
std::string withoutSecrets(const std::string& text);

// Joins the parts that are not empty.
std::string joined(const std::vector<std::string>& parts, const std::string& separator = ", ");

size_t displayWidth(const std::string& text);
// "no daemon" as the beginning of a sentence: "No daemon".
std::string capitalized(std::string text);
// Cuts to a width; a text that was cut ends in '~'.
std::string cutTo(const std::string& text, size_t width);
// Cuts, or fills with blanks, to a width.
std::string fitTo(const std::string& text, size_t width);

// Breaks the text at blanks into lines of at most width columns; indents every line but the first
// by indent blanks. A word longer than a line gets its own line and is not broken.
std::vector<std::string> wrapText(const std::string& text, size_t width, size_t indent);

// The same for a list: breaks after commas, so that a label stays with its value; at blanks where
// an item is longer than a line.
std::vector<std::string> wrapList(const std::string& text, size_t width, size_t indent);

// "45 s", "12 min", "2 h 14 min", "3 d 4 h".
std::string durationText(long long seconds);

// "-98", "-9.5": at most one digit after the point.
std::string shortNumber(double value);

#endif
