#ifndef STATEMACHINE_SIM_QUERY_H
#define STATEMACHINE_SIM_QUERY_H

#include "include/device_records.h"

// What the SIM reports of itself.

// Refreshes the SIM record; as getDeviceSimInfo.
ePortReturn doGetSimStatus(int port, sSimInfo& sim);

// Reads presence, lock, lock state, ICCID and IMSI into the record, which is reset first. The first
// result that is not ePORT_OK, else ePORT_OK; a SIM that is not there is asked nothing more.
ePortReturn getDeviceSimInfo(int port, sSimInfo& sim);

#endif
