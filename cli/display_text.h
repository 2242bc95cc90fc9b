#ifndef CLI_DISPLAY_TEXT_H
#define CLI_DISPLAY_TEXT_H

#include <string>
#include <vector>

// Text for people's terminals. Widths are in characters: every one counts as one column.

// Whether all of it is UTF-8 (RFC 3629).
bool isUtf8(const std::string& text);

// A text of the modem as it may go to a terminal: what is not UTF-8 and what a terminal would act
// upon (control characters, direction marks) becomes '?'.
std::string displayText(const std::string& text);

// The same, with every PIN-like number in quotes shown as '****': the daemon's outcome texts name
// the PIN.
std::string withoutSecrets(const std::string& text);

size_t displayWidth(const std::string& text);
// Cut to a width; a text that is cut ends in '~'.
std::string cutTo(const std::string& text, size_t width);
// Cut or filled with blanks to a width.
std::string fitTo(const std::string& text, size_t width);

// Lines of at most width columns, broken at blanks; every line but the first is indented by
// indent blanks. A word that is longer than a line stands alone and is not broken.
std::vector<std::string> wrapText(const std::string& text, size_t width, size_t indent);

// "45 s", "12 min", "2 h 14 min", "3 d 4 h".
std::string durationText(long long seconds);

// "-98", "-9.5": at most one digit behind the point.
std::string shortNumber(double value);

#endif
