#ifndef STATEMACHINE_MODEM_CONTROL_H
#define STATEMACHINE_MODEM_CONTROL_H

#include <string>

#include "include/device_records.h"

// Operations on the modem as a whole.

// Waits until the modem announces "+PACSP0", at most 10 seconds.
void waitModemReady(int port);

// Switches the slot's power off with sledctl. The shell's status.
int powerOffDevice();

// Asks the modem to restart itself; one that does not is power-cycled by the host.
void resetDevice(int port);

// Whether a firmware update of the slot was requested in the directory. The request is consumed.
// One in a folder that is a link is none, which is reported once.
bool checkFirmwareUpdate(const std::string& directory);

// Has no effect; always 0.
int checkFirmwareStatus(int port, sModemInfo& modem);

// Sets the host's clock from the network's time. False when the modem does not know the time or
// the host refused it.
bool maybeSetSystemTime(int port);

#endif
