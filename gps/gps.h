#ifndef GPS_GPS_H
#define GPS_GPS_H

#include "gps/telit_gps.h"
#include "include/config_options.h"
#include "include/result_codes.h"

struct sModemInfo;

// The daemon's one GPS port.
extern cTelitGps g_C_telitGps;

// Both use the GPS port and slot of the command line and store their result and the state of the
// stream in the modem record.

// Starts GPS and hands its port to gpsd, or stops GPS if the configuration disables it. The AT port
// is not used. Returns what gpsStart or gpsStop returns.
eGeneralErrors maybeEnableGps(int port, const sConfigFileOpts& config, sModemInfo& modem);

// Takes the port back from gpsd and stops the stream if this process started one.
eGeneralErrors maybeStopGps(sModemInfo& modem);

// For a modem that was unplugged or has restarted: whether its stream runs is not known any more,
// and gpsd has lost the port. The next start stops the stream and starts it again.
void forgetGpsStream();

// Resets the state to that of a process that has just started.
void resetGpsState();

#endif
