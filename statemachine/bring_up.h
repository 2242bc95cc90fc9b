#ifndef STATEMACHINE_BRING_UP_H
#define STATEMACHINE_BRING_UP_H

#include "include/config_options.h"
#include "include/result_codes.h"

struct sDeviceInfo;

// Sets up a modem whose port was just opened, as the configuration requires. eSUCCESS;
// eSUCCESS_DEVICE_UNLOCK: the SIM was just unlocked or its slot switched, call it again;
// _RESPONSE_TIMEOUT; _RESPONSE_ERROR; _REQUIRES_RESET; _SHOULD_RESET: the firmware image was
// switched and the modem restarts itself; _IN_TEST_MODE; _NETWORK_NOT_IMS_REGISTERED: the IMS
// context could not be set; or a SIM code. If the SIM is not ready, it ends early and returns the
// result of getSimStatus.
eGeneralErrors setupModem(int port, sDeviceInfo& device, sConfigFileOpts& config);

// Reads the modem's identity and, if there is a SIM, the SIM and the operators. Results as above.
eGeneralErrors getModemInfo(int port, sDeviceInfo& device, sConfigFileOpts& config);

// For tests: forgets that a bring-up failed.
void resetBringUpState();

#endif
