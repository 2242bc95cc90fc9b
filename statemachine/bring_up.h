#ifndef STATEMACHINE_BRING_UP_H
#define STATEMACHINE_BRING_UP_H

#include "include/config_options.h"
#include "include/device_records.h"

// Brings a freshly opened modem into the state that the configuration asks for.
// eSUCCESS; eSUCCESS_DEVICE_UNLOCK: the SIM was just unlocked or its slot switched, run again;
// _RESPONSE_TIMEOUT; _RESPONSE_ERROR; _REQUIRES_RESET; _SHOULD_RESET: the firmware image was
// switched and the modem restarts itself; _IN_TEST_MODE; _NETWORK_NOT_IMS_REGISTERED: the IMS
// context could not be set; or a SIM code. With a SIM that is not ready it ends early and returns
// what getSimStatus said.
eGeneralErrors setupModem(int port, sDeviceInfo& device, sConfigFileOpts& config);

// Reads the modem's identity, and SIM and operators where there is a SIM. Results as above.
eGeneralErrors getModemInfo(int port, sDeviceInfo& device, sConfigFileOpts& config);

// Forgets that a bring-up failed.
void resetBringUpState();

#endif
