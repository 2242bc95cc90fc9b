#ifndef ATCMD_BASIC_COMMANDS_H
#define ATCMD_BASIC_COMMANDS_H

#include <string>

#include "include/result_codes.h"

// AT: whether the modem answers at all.
ePortReturn sendAT(int port);
// The same with what was answered.
ePortReturn sendAT(int port, std::string& response);

// AT+CMEE=1: errors as numbers (3GPP TS 27.007 section 9.1), which parseCMXerror needs.
ePortReturn setCmee(int port);

// AT#PSNT=0: no unsolicited reports of the network type; the daemon asks for it.
ePortReturn setPsnt(int port);

// Logs what the modem sent unasked, a message a line. A diagnostic that no other function calls.
void checkUnsolicitedMsg(int port);

// Takes what is waiting on the port, at most 1024 bytes. As readFromPort.
int getUnsolicitedMsg(int port, std::string& text);

#endif
