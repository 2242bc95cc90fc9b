#ifndef STATEMACHINE_MODEM_CONTROL_H
#define STATEMACHINE_MODEM_CONTROL_H

#include <string>

struct sModemInfo;

// Operations on the modem as a whole.

// Waits at most 10 seconds for the modem's report "+PACSP0".
void waitModemReady(int port);

// Switches the slot's power off with sledctl. Returns the shell's status.
int powerOffDevice();

// Commands the modem to restart. If that fails, the host cycles its power.
void resetDevice(int port);

// Whether the directory has a firmware trigger for the slot, which is then deleted. A trigger in a
// folder that is a link does not count, which is reported once.
bool checkFirmwareUpdate(const std::string& directory);

// Has no effect; always 0.
int checkFirmwareStatus(int port, sModemInfo& modem);

// Sets the host's clock from the network's time. False when the modem does not know the time or
// the host refused it.
bool maybeSetSystemTime(int port);

#endif
