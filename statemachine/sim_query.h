#ifndef STATEMACHINE_SIM_QUERY_H
#define STATEMACHINE_SIM_QUERY_H

#include "include/result_codes.h"

struct sSimInfo;

// Reads what the SIM reports.

// As getDeviceSimInfo.
ePortReturn doGetSimStatus(int port, sSimInfo& sim);

// Resets the record, then reads presence, lock, lock state, ICCID and IMSI. Ends at the first
// result that is not ePORT_OK and returns it; ends after the presence if there is no SIM.
ePortReturn getDeviceSimInfo(int port, sSimInfo& sim);

#endif
