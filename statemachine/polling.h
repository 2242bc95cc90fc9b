#ifndef STATEMACHINE_POLLING_H
#define STATEMACHINE_POLLING_H

#include "include/config_options.h"
#include "include/result_codes.h"

struct sDeviceInfo;
struct sNetworkInfo;

// Reads everything that changes while the modem runs, then handles messages and the AT commands of
// other programs. eSUCCESS, _RESPONSE_TIMEOUT, _RESPONSE_ERROR, eSUCCESS_DEVICE_UNLOCK, a
// SIM code, _REQUIRES_RESET when the modem has had no service for too long, or the result of
// checkSMS.
eGeneralErrors pollDevice(int port, sDeviceInfo& device, sConfigFileOpts& config);

// Reads IMEI, temperature, SIM, clock, own number, contexts. If the SIM is not ready, it ends after
// the SIM and returns the result of getSimStatus. eERROR_DEVICE_SIM_LOCKED_CNUM when the modem
// refuses the own number.
eGeneralErrors getModemPollInfo(int port, sDeviceInfo& device, const sConfigFileOpts& config);

// Reads registration, serving cell and signal, and sets the LED. eSUCCESS, _RESPONSE_TIMEOUT,
// _RESPONSE_ERROR.
eGeneralErrors getNetworkInfo(int port, sNetworkInfo& network);

// Reads the EPS registration, or else the circuit-switched one, then IMS. Returns the result of the
// registration; ePORT_NO_FINAL_RESULT if the modem does not answer for IMS.
ePortReturn getNetworkRegistration(const int& port, sNetworkInfo& network);

#endif
