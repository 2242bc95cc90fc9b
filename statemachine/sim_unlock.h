#ifndef STATEMACHINE_SIM_UNLOCK_H
#define STATEMACHINE_SIM_UNLOCK_H

#include "include/result_codes.h"

struct sSimInfo;

// Unlocks the SIM with the PIN or the PUK of its file.

// eSUCCESS; eFAILURE when the PIN must not be sent or the PUK file was not written since its use;
// eERROR_DEVICE_NOT_CPIN_LOCKED or _NOT_PUK_LOCKED, _CPIN_FORMAT_INVALID, _PUK_FORMAT_INVALID,
// _UNLOCK_CPIN_FAILED or _UNLOCK_PUK_FAILED when the modem answered ERROR,
// _ENABLE_CPIN_FAILED when it refused the PIN, _RESPONSE_TIMEOUT.
eGeneralErrors maybeUnlockSimPin(int port, sSimInfo& sim);
eGeneralErrors maybeUnlockSimPuk(int port, sSimInfo& sim);

// The SIM is ready: that answers a PIN that was sent without an answer.
void noteSimOpened(const sSimInfo& sim);

#endif
