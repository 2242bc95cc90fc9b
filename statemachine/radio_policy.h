#ifndef STATEMACHINE_RADIO_POLICY_H
#define STATEMACHINE_RADIO_POLICY_H

#include <string>

#include "include/config_options.h"
#include "include/modem_types.h"
#include "include/result_codes.h"

struct sDeviceInfo;
struct sSimInfo;

// Brings the modem's radio settings in line with the configuration file. Each function reads the
// present value, compares it, and sends only what must change.

// "2G3G4G" for a mask of NET_BIT_..., "Ignore" for 0, "AUTO" for 255.
std::string decodeNetBits(unsigned bits);

// The name of a +WS46 value (3GPP TS 27.007 section 5.9), "Unknown" for others.
std::string decodeCurrentTech(int ws46);

// The +WS46 value that the configuration asks for, 0 for no change.
int determineSupportedNetSpeed(const sConfigFileOpts& config, const sDeviceInfo& device);

// The result of the last command sent, ePORT_OK when nothing had to change.
ePortReturn maybeSetNetworkSpeed(int port, const sConfigFileOpts& config, sDeviceInfo& device);

// Sets in the record whether the image is for Verizon and the SIM is not, or the other way round.
void isFirmwareSimMismatched(sDeviceInfo& device);

// eERROR_DEVICE_FIRMWARE_SWITCH_SUCCESS when the modem restarts with the other image; another
// 5xx code where there was nothing to switch; _RESPONSE_TIMEOUT, _RESPONSE_ERROR.
eGeneralErrors maybeSwitchDeviceFirmware(int port, sDeviceInfo& device, eFirmwareSlot slot);

// Defines the configured context with the APN of the SIM's slot. eSUCCESS, also for an empty APN;
// _RESPONSE_TIMEOUT; _RESPONSE_ERROR, also when the SIM slot is not known.
eGeneralErrors setAPN(int port, sConfigFileOpts& config, const sSimInfo& sim);

// The result of AT#PDPAUTH, ePORT_OK when authentication is not configured.
ePortReturn maybeSetUsernamePassword(int port, sConfigFileOpts& config);

// eSUCCESS, _RESPONSE_TIMEOUT, _RESPONSE_ERROR.
eGeneralErrors maybeSetNetworkOperator(int port, const sConfigFileOpts& config);

// eSUCCESS_DEVICE_UNLOCK when the slot was switched, eSUCCESS when it is right or none is
// configured, _RESPONSE_TIMEOUT, _RESPONSE_ERROR.
eGeneralErrors maybeSwitchSimSlot(int port, sSimInfo& sim, const sConfigFileOpts& config);

#endif
