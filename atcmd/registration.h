#ifndef ATCMD_REGISTRATION_H
#define ATCMD_REGISTRATION_H

#include <string>

#include "include/result_codes.h"

struct sNetworkInfo;

// Registration in the circuit-switched domain (+CREG), EPS (+CEREG) and IMS (+CIREG), 3GPP TS
// 27.007 sections 7.2, 10.1.22 and 8.71. Results are those of the transaction.

// Report mode 2: state with location.
ePortReturn setCREG(int port);
ePortReturn setCEREG(int port);

// Both write the same fields, so the last query decides. An answer without location leaves area and
// cell unchanged.
ePortReturn getCREG(int port, sNetworkInfo& network);
void parseCREG(const std::string& response, sNetworkInfo& network);
ePortReturn getCEREG(int port, sNetworkInfo& network);
void parseCEREG(const std::string& response, sNetworkInfo& network);

ePortReturn getCIREG(int port, sNetworkInfo& network);
void parseCIREG(const std::string& response, sNetworkInfo& network);

// Whether the modem is registered, at home or roaming.
bool isRegisteredState(int state);

// Sets the texts and the registered flag from the state, and logs a change of the state.
void updateNetworkRegistrationInfo(sNetworkInfo& network);

// Forgets whether the modem was searching at the last update.
void resetRegistrationState();

#endif
