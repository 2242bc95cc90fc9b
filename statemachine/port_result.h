#ifndef STATEMACHINE_PORT_RESULT_H
#define STATEMACHINE_PORT_RESULT_H

#include "include/result_codes.h"

// What a sequence passes up for the result of one command: silence is a time-out, a refusal an
// error with the given code, anything else lets the sequence go on.
inline eGeneralErrors mapPortResult(ePortReturn result,
                                    eGeneralErrors error = eERROR_DEVICE_RESPONSE_ERROR) {
    if (result == ePORT_NO_FINAL_RESULT) return eERROR_DEVICE_RESPONSE_TIMEOUT;
    return isPortError(result) ? error : eSUCCESS;
}

#endif
