#ifndef STATEMACHINE_DATA_CONNECTION_H
#define STATEMACHINE_DATA_CONNECTION_H

#include <string>

#include "include/config_options.h"

// Whether a data session is wanted: override files first, then the configuration, then whether the
// host has finished booting.

extern const std::string CELL_OVERRIDE_PATH;
extern const std::string CELL_CONNECT_OVERRIDE_FILE;
extern const std::string CELL_NOCONNECT_OVERRIDE_FILE;
extern const std::string CELL_POWER_OFF_OVERRIDE_FILE;

constexpr int DATA_CONNECTION_ALLOWED = 1;
constexpr int DATA_CONNECTION_NOT_NOW = 2;
constexpr int DATA_CONNECTION_POWER_OFF = 8;

// One of DATA_CONNECTION_...; the reason is stored in the record's data directive.
int isDataConnectionAllowed(sConfigFileOpts& config, const std::string& overrideDirectory);

// What the override files of the slot say: TEMP_ENABLED (4), TEMP_WAIT_SUBSYSTEM (5) for connection
// off, TEMP_MODEM_OFF (6), or TEMP_DISABLED (3) when there is none.
eCfgDataStatus getTempDataDirective(const std::string& overrideDirectory);

// True as soon as the host reports it or has been up for three minutes, and from then on.
bool checkSystemBooted();

// Seconds since the host was started, 0 when they are not known.
unsigned getSystemUptime();

// Always 1.
int connectionStarted(int);

// For tests: forgets the previous override file and that the host has booted.
void resetDataConnectionState();

#endif
