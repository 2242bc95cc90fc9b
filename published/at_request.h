#ifndef PUBLISHED_AT_REQUEST_H
#define PUBLISHED_AT_REQUEST_H

#include <cstddef>
#include <string>

#include "published/slot.h"

// AT commands of other programs: a request file in SHARED_FOLDER, answered by two files beside it.
// Every daemon looks for the name without a suffix; a suffix of ".2" makes it a request for slot 2
// alone, and its answers have the suffix, too.
std::string atRequestFile(const std::string& folder, const std::string& suffix);
std::string atAnswerFile(const std::string& folder, const std::string& suffix);     // for people
std::string atRawAnswerFile(const std::string& folder, const std::string& suffix);  // as sent
std::string atSlotSuffix(const cSlotText& slot);

// At most so many bytes of a request are read, and so many of its lines looked at.
constexpr size_t AT_REQUEST_MAX = 512;
constexpr int AT_REQUEST_LINES = 10;

// A line is "AT+CSQ" or "AT+CSQ::5": a command begins with AT in any case, and after the separator
// comes how many seconds more than one its answer may take.
constexpr const char* AT_TIMEOUT_SEPARATOR = "::";
constexpr int AT_EXTRA_TIMEOUT_MAX_S = 30;
bool isAtCommand(const std::string& command);
// extraTimeoutS: 0 for none.
std::string atRequestLine(const std::string& command, unsigned extraTimeoutS);

#endif
