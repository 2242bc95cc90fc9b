#ifndef ATCMD_SIM_COMMANDS_H
#define ATCMD_SIM_COMMANDS_H

#include <string>

#include "include/modem_types.h"
#include "include/result_codes.h"

struct sSimInfo;

// The SIM: presence (#QSS), lock (+CPIN, #PCT, +CLCK, +CPWD; 3GPP TS 27.007 sections 7.4, 7.5,
// 8.3), IMSI, ICCID and the slot that one of the modem's GPIO pins selects. A CME error is returned
// as its number.

// Without a SIM sets lock class and code to 2 and the status to SIM_STATUS_NOT_PRESENT.
ePortReturn getDeviceSimPresent(int port, sSimInfo& sim);
void parseDeviceSimPresent(const std::string& response, sSimInfo& sim);

// Without a SIM returns ePORT_OK and sends nothing.
ePortReturn getDeviceSimStatus(int port, sSimInfo& sim);
void parseDeviceSimStatus(const std::string& response, sSimInfo& sim);
// text: upper case, trimmed.
void decodeSimCpinText(const std::string& text, sSimInfo& sim);

ePortReturn getDeviceSimIMSI(int port, sSimInfo& sim);
void parseDeviceSimIMSI(const std::string& response, sSimInfo& sim);
// Home PLMN and carrier from the first six digits of the IMSI, or else the first five.
void getCarrierFromImsi(sSimInfo& sim);

ePortReturn getDeviceSimId(int port, sSimInfo& sim);
void parseDeviceSimId(const std::string& response, sSimInfo& sim);

// Whether the PIN lock is on: -1 unknown, 0, 1.
ePortReturn getCpinState(int port, sSimInfo& sim);
int parseCpinState(const std::string& response);

// The lock operations return a CME error as its number, for example CME_INCORRECT_PASSWORD, and do
// not log PIN or PUK themselves. The caller must have checked that PIN and PUK are digits.
ePortReturn setCpinState(int port, const std::string& pin, bool enable);
ePortReturn changeCpin(int port, const std::string& oldPin, const std::string& newPin);
ePortReturn unlockCpin(int port, const std::string& pin);
ePortReturn unlockPuk(int port, const std::string& puk, const std::string& newPin);

ePortReturn getSimSlot(const int& port, eSimSlot& slot);
eSimSlot parseSimSlot(const std::string& response);

// For any slot but 1 and 2 returns CME_INVALID_INDEX and sends nothing.
ePortReturn setSimSlot(const int& port, const eSimSlot& slot);

#endif
