#ifndef STATEMACHINE_POLLING_H
#define STATEMACHINE_POLLING_H

#include "include/config_options.h"
#include "include/device_records.h"

// Refreshes everything that changes while the modem runs, then gives messages and other programs'
// AT commands their turn. eSUCCESS, _RESPONSE_TIMEOUT, _RESPONSE_ERROR, eSUCCESS_DEVICE_UNLOCK, a
// SIM code, _REQUIRES_RESET when the modem has been without service for too long, or what checkSMS
// returned.
eGeneralErrors pollDevice(int port, sDeviceInfo& device, sConfigFileOpts& config);

// IMEI, temperature, SIM, clock, own number, contexts. With a SIM that is not ready it ends after
// the SIM and returns what getSimStatus said; eERROR_DEVICE_SIM_LOCKED_CNUM when the modem refuses
// the own number.
eGeneralErrors getModemPollInfo(int port, sDeviceInfo& device, const sConfigFileOpts& config);

// Registration, LED, serving cell and signal. eSUCCESS, _RESPONSE_TIMEOUT, _RESPONSE_ERROR.
eGeneralErrors getNetworkInfo(int port, sNetworkInfo& network);

// EPS registration, or else circuit-switched, then IMS. The result of the last of the first two; a
// silence of the third is ePORT_NO_FINAL_RESULT.
ePortReturn getNetworkRegistration(const int& port, sNetworkInfo& network);

#endif
