#ifndef STATEMACHINE_SIM_PIN_REQUESTS_H
#define STATEMACHINE_SIM_PIN_REQUESTS_H

#include <string>

#include "include/result_codes.h"

struct sSimInfo;

// The requests of the second file: a new PIN, "enable" or "disable".

// Carries out a request if there is one; the SIM must be ready. eSUCCESS, or the result of the
// requested operation.
eGeneralErrors manageCpin(int port, sSimInfo& sim);

// First switches the PIN lock on if it is off. eSUCCESS, _CPIN_FORMAT_INVALID, _SIM_NOT_READY,
// _RESPONSE_TIMEOUT, _SET_CPIN_FAILED (ERROR), _CPIN_BAD_PASSWORD, _CHANGE_CPIN_FAILED.
eGeneralErrors changeCpinPassword(int port, sSimInfo& sim, const std::string& currentPin,
                                  const std::string& newPin);

// As changeCpinPassword, but _ENABLE.../_DISABLE_CPIN_FAILED; an invalid PIN is
// _CPIN_FORMAT_INVALID to enable and eFAILURE to disable, ERROR is _SET_CPIN_FAILED to enable and
// _CLEAR_CPIN_FAILED to disable.
eGeneralErrors enableCpinPassword(int port, sSimInfo& sim, const std::string& pin);
eGeneralErrors disableCpinPassword(int port, sSimInfo& sim, const std::string& pin);

#endif
