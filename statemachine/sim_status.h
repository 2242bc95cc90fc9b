#ifndef STATEMACHINE_SIM_STATUS_H
#define STATEMACHINE_SIM_STATUS_H

#include "include/result_codes.h"

struct sSimInfo;

// Queries the SIM and acts on the result: unlocks a locked SIM, carries out a requested PIN
// operation on a ready one, requires a reset when it is missing for too long. eSUCCESS: nothing to
// report; the record's lock class says whether the SIM is usable. eSUCCESS_DEVICE_UNLOCK: it has
// just become usable. eERROR_DEVICE_RESPONSE_TIMEOUT. eERROR_DEVICE_REQUIRES_RESET: missing for too
// long. Or the result of the PIN operation.
eGeneralErrors getSimStatus(int port, sSimInfo& sim);

#endif
