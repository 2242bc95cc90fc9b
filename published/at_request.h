#ifndef PUBLISHED_AT_REQUEST_H
#define PUBLISHED_AT_REQUEST_H

#include <cstddef>
#include <string>

#include "published/slot.h"

// AT commands of other programs: a request file in SHARED_FOLDER, answered by two files beside it.
// Every daemon checks for the name without a suffix; a suffix of ".2" makes it a request for slot 2
// only, and its answers have the suffix too.
std::string atRequestFile(const std::string& folder, const std::string& suffix);
std::string atAnswerFile(const std::string& folder, const std::string& suffix);     // readable
std::string atRawAnswerFile(const std::string& folder, const std::string& suffix);  // as sent
std::string atSlotSuffix(const cSlotText& slot);

// Limits of a request: bytes that are read, and lines that are used.
constexpr size_t AT_REQUEST_MAX = 512;
constexpr int AT_REQUEST_LINES = 10;

// A line is "AT+CSQ" or "AT+CSQ::5": a command begins with AT in any case; the number after the
// separator is how many seconds beyond the first its answer may take.
constexpr const char* AT_TIMEOUT_SEPARATOR = "::";
constexpr int AT_EXTRA_TIMEOUT_MAX_S = 30;
bool isAtCommand(const std::string& command);
// extraTimeoutS: 0 for none.
std::string atRequestLine(const std::string& command, unsigned extraTimeoutS);

#endif
