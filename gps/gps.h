#ifndef GPS_GPS_H
#define GPS_GPS_H

#include "include/config_options.h"
#include "include/device_records.h"

// The GPS receiver's turn in bring-up and at the end. It is not handled yet: always eSUCCESS.
eGeneralErrors maybeEnableGps(int port, const sConfigFileOpts& config, sModemInfo& modem);
eGeneralErrors maybeStopGps(sModemInfo& modem);

#endif
