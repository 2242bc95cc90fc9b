#ifndef STATEMACHINE_STATUS_LED_H
#define STATEMACHINE_STATUS_LED_H

#include "include/result_codes.h"

struct sNetworkInfo;

// The pattern of the modem's status LED.
enum eStatLedAction : int {
    eSTAT_LED_ACTION_NONE = 0,
    eSTAT_LED_ACTION_OFF = 1,
    eSTAT_LED_ACTION_ON = 2,
    eSTAT_LED_ACTION_REG_DENIED = 3,
    eSTAT_LED_ACTION_NOT_REG = 4,
    eSTAT_LED_ACTION_REG = 5,
    eSTAT_LED_ACTION_REG_INTERFACE_UP = 6,
    eSTAT_LED_ACTION_TRAFFIC = 7,
    eSTAT_LED_ACTION_TRAFFIC_2 = 8,
    eSTAT_LED_ACTION_BLINK_5 = 9,
    eSTAT_LED_ACTION_BLINK_10 = 10,
    eSTAT_LED_ACTION_BLINK_15 = 11,
    eSTAT_LED_ACTION_BLINK_20 = 12,
};

// Sends the pattern of an action if the action differs from the one of the last call, even if that
// call failed. save: the modem keeps the pattern over a restart. eSUCCESS, eFAILURE for an action
// without a pattern, eERROR_DEVICE_RESPONSE_TIMEOUT or eERROR_DEVICE_RESPONSE_ERROR.
eGeneralErrors setStatusLed(const int& port, const eStatLedAction& action, bool save);

// Shows registration, interface and traffic. Results as for setStatusLed.
eGeneralErrors updateRegStatLed(const int& port, const sNetworkInfo& network);

// Whether the host is in its factory test mode (STORE_TEST_MODE).
bool getDeviceTestMode();

// For tests: forgets the last action.
void resetStatusLedState();

#endif
