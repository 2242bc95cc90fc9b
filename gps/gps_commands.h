#ifndef GPS_GPS_COMMANDS_H
#define GPS_GPS_COMMANDS_H

// What is sent to the GPS port: commands of the Telit LE910 AT reference, "GNSS" chapter.

struct sGpsEnableStep {
    const char* command;
    const char* name;  // for the log
};

// The chipset's software version, empty while the receiver is off: "$GPSSW: GSW3.5.0".
constexpr const char* AT_GPS_CHIPSET = "AT$GPSSW";
constexpr const char* GPS_CHIPSET_PREFIX = "$GPSSW:";

// Mode 3 turns this port into a stream of sentences: GGA on, GLL, GSA and GSV off, RMC on, VTG off.
// Answered by "CONNECT" without a final result.
constexpr const char* AT_GPS_START_STREAM = "AT$GPSNMUN=3,1,0,0,0,1,0";
constexpr const char* GPS_STREAM_STARTED = "CONNECT";

// Ends a stream, alone between two guard times (ITU-T V.250's escape). Answered by "NO CARRIER".
constexpr const char* GPS_ESCAPE = "+++";
constexpr const char* AT_GPS_PROBE = "AT";

// What a running stream shows, in the order in which a line is searched.
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
