#ifndef GPS_GPS_COMMANDS_H
#define GPS_GPS_COMMANDS_H

// Commands sent to the GPS port, from the Telit LE910 AT reference, chapter "GNSS".

struct sGpsEnableStep {
    const char* command;
    const char* name;  // for the log
};

// The chipset's software version, empty while the receiver is off: "$GPSSW: GSW3.5.0".
constexpr const char* AT_GPS_CHIPSET = "AT$GPSSW";
constexpr const char* GPS_CHIPSET_PREFIX = "$GPSSW:";

// Mode 3 makes this port a stream of sentences: GGA on, GLL, GSA and GSV off, RMC on, VTG off. The
// modem answers "CONNECT" without a final result.
constexpr const char* AT_GPS_START_STREAM = "AT$GPSNMUN=3,1,0,0,0,1,0";
constexpr const char* GPS_STREAM_STARTED = "CONNECT";

// Ends a stream: the escape of ITU-T V.250, sent alone between two guard times. The modem answers
// "NO CARRIER".
constexpr const char* GPS_ESCAPE = "+++";
constexpr const char* AT_GPS_PROBE = "AT";

// Sentences that show a running stream, in search order.
constexpr const char* GPS_STREAM_SENTENCES[] = {"$GNRMC", "$GPGGA"};

// Switches the receiver on; it starts with the modem's next restart.
// clang-format off
constexpr sGpsEnableStep GPS_ENABLE_STEPS[] = {
    {"AT#PORTCFG=11",       "portcfg"},
    {"AT$GPSD=5",           "type"},
    {"AT$GPSGPIO=5,6,8,7",  "GPIO"},
    {"AT$GPSSERSPEED=9600", "port speed"},
    {"AT$GPSP=1",           "on"},
    {"AT$GPSSAV",           "save settings'"},
};
// clang-format on

#endif
