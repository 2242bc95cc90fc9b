#ifndef TESTS_SUPPORT_RECORD_BOUNDS_H
#define TESTS_SUPPORT_RECORD_BOUNDS_H

#include <string>

struct sDeviceInfo;
struct sModemInfo;
struct sNetworkInfo;
struct sSimInfo;

// Limits of the records, whatever a modem sends: no text is longer than MODEM_TEXT_MAX, no count
// larger than its table. Each function says what exceeds its limit; null if nothing does.
const char* wrongInText(const std::string& text);
const char* wrongInRecord(const sModemInfo& modem);
const char* wrongInRecord(const sNetworkInfo& network);
const char* wrongInRecord(const sSimInfo& sim);
const char* wrongInRecord(const sDeviceInfo& device);

#endif
