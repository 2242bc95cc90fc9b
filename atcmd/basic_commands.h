#ifndef ATCMD_BASIC_COMMANDS_H
#define ATCMD_BASIC_COMMANDS_H

#include <string>

#include "include/result_codes.h"

// AT: whether the modem answers.
ePortReturn sendAT(int port);
// The same, with the response.
ePortReturn sendAT(int port, std::string& response);

// AT+CMEE=1: errors as numbers (3GPP TS 27.007 section 9.1), which parseCMXerror needs.
ePortReturn setCmee(int port);

// AT#PSNT=0: no unsolicited reports of the network type; the daemon polls it.
ePortReturn setPsnt(int port);

// Logs unsolicited messages, one per line. A diagnostic; no other function calls it.
void checkUnsolicitedMsg(int port);

// Reads what waits on the port, at most 1024 bytes. Returns what readFromPort returns.
int getUnsolicitedMsg(int port, std::string& text);

#endif
