#ifndef GPS_GPS_H
#define GPS_GPS_H

#include "gps/telit_gps.h"
#include "include/config_options.h"
#include "include/device_records.h"
#include "include/result_codes.h"

// The daemon's one GPS port.
extern cTelitGps g_C_telitGps;

// Both work on the GPS port and slot of the command line and leave their result in the modem
// record, with the state of the stream.

// Starts GPS and hands its port to gpsd, or stops it where the configuration does not want it. The
// AT port is not used. Results as gpsStart and gpsStop.
eGeneralErrors maybeEnableGps(int port, const sConfigFileOpts& config, sModemInfo& modem);

// Takes the port back from gpsd and stops the stream, when this process started one.
eGeneralErrors maybeStopGps(sModemInfo& modem);

// As in a process that has just started.
void resetGpsState();

#endif
