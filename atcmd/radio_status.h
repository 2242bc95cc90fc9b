#ifndef ATCMD_RADIO_STATUS_H
#define ATCMD_RADIO_STATUS_H

#include <string>

#include "include/result_codes.h"

struct sNetworkInfo;

// Signal (+CSQ, 3GPP TS 27.007 section 8.5) and the serving cell (#PSNT, #RFSTS). Results are those
// of the transaction; a line that is short leaves its fields at their defaults.

ePortReturn getCSQ(int port, sNetworkInfo& network);
void parseCSQ(const std::string& response, sNetworkInfo& network);

// Queries only a modem that is registered or denied; otherwise sets the defaults and returns
// ePORT_OK.
ePortReturn getModemNetworkInfo(int port, sNetworkInfo& network);
void parseModemPsNetType(const std::string& response, sNetworkInfo& network);
// Reads #RFSTS in the form of the network type in the record.
void parseModemNetworkStatus(const std::string& response, sNetworkInfo& network);

// One #RFSTS line without its prefix.
void parseLteNetworkStatus(const std::string& line, sNetworkInfo& network);
void parseWcdmaNetworkStatus(const std::string& line, sNetworkInfo& network);
// GSM values are not kept; a short line is logged.
void parseGsmNetworkStatus(const std::string& line, sNetworkInfo& network);

// "310 410": country and network code. Any other form changes nothing.
void parsePlmn(const std::string& text, sNetworkInfo& network);

#endif
