#ifndef STATEMACHINE_SIM_STATUS_H
#define STATEMACHINE_SIM_STATUS_H

#include "include/device_records.h"

// Queries the SIM and acts on what it finds: unlocks a locked SIM, applies a requested PIN
// operation to a ready one, asks for a reset when it is missing for too long.
// eSUCCESS: nothing to report; the record's lock class says whether the SIM is usable.
// eSUCCESS_DEVICE_UNLOCK: it has just become usable. eERROR_DEVICE_RESPONSE_TIMEOUT.
// eERROR_DEVICE_REQUIRES_RESET: missing for too long. Or what the PIN operation returned.
eGeneralErrors getSimStatus(int port, sSimInfo& sim);

#endif
