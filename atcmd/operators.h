#ifndef ATCMD_OPERATORS_H
#define ATCMD_OPERATORS_H

#include <string>

#include "include/device_records.h"

// The serving operator (+COPS) and the modem's list of operator names (+COPN), 3GPP TS 27.007
// sections 7.3 and 7.21.

// A CME error is returned as its number.
ePortReturn getCopsAct(int port, sNetworkInfo& network);
void parseCopsAct(const std::string& response, sNetworkInfo& network);

// Fills telitCarrier_list_Map, once per process: a list that is there is not asked for again.
ePortReturn getCarrierList(int port);
void parseCarrierList(const std::string& response);

// The operator name of a numeric PLMN, NAME_UNKNOWN where there is none.
std::string getCarrierFromPLMN(const std::string& plmn);

#endif
