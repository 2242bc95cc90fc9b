#ifndef STATEMACHINE_STATUS_LED_H
#define STATEMACHINE_STATUS_LED_H

#include "include/device_records.h"

// What the modem's status LED shows.
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

// Sends the pattern of an action that differs from the last one asked for, whether or not that one
// was sent well; with save the modem keeps it over a restart. eSUCCESS, eFAILURE for an action
// without a pattern, eERROR_DEVICE_RESPONSE_TIMEOUT or eERROR_DEVICE_RESPONSE_ERROR.
eGeneralErrors setStatusLed(const int& port, const eStatLedAction& action, bool save);

// The action for registration, interface and traffic. As setStatusLed.
eGeneralErrors updateRegStatLed(const int& port, const sNetworkInfo& network);

// Whether the host is in its factory test mode (STORE_TEST_MODE).
bool getDeviceTestMode();

// Forgets the last action.
void resetStatusLedState();

#endif
