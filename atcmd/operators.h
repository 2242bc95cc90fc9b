#ifndef ATCMD_OPERATORS_H
#define ATCMD_OPERATORS_H

#include <string>

#include "include/result_codes.h"

struct sNetworkInfo;

// The serving operator (+COPS) and the modem's list of operator names (+COPN), 3GPP TS 27.007
// sections 7.3 and 7.21.

// A CME error is returned as its number.
ePortReturn getCopsAct(int port, sNetworkInfo& network);
void parseCopsAct(const std::string& response, sNetworkInfo& network);

// Fills telitCarrier_list_Map once per process; a list that has been read is not requested again.
ePortReturn getCarrierList(int port);
void parseCarrierList(const std::string& response);

// The operator name of a numeric PLMN, NAME_UNKNOWN if the list has none.
std::string getCarrierFromPLMN(const std::string& plmn);

#endif
