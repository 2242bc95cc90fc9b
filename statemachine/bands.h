#ifndef STATEMACHINE_BANDS_H
#define STATEMACHINE_BANDS_H

#include "include/config_options.h"
#include "include/result_codes.h"

struct sModemInfo;

// Fills the modem's band lists according to its model. In manual mode, also checks the configured
// bands against them. eSUCCESS, eERROR_DEVICE_NOT_SUPPORTED for a model without a list,
// eERROR_DEVICE_INVALID_OPTION for a band that the modem does not have.
eGeneralErrors getSupportedBands(sModemInfo& modem, const sConfigFileOpts& config);

// Sets the band selection. Returns the result of getSupportedBands, _RESPONSE_TIMEOUT or
// _RESPONSE_ERROR.
eGeneralErrors maybeSetBands(int port, sModemInfo& modem, const sConfigFileOpts& config);

int countSetBits(int value);

#endif
