#ifndef STATEMACHINE_STATUS_KEYS_H
#define STATEMACHINE_STATUS_KEYS_H

#include "include/config_options.h"
#include "statemachine/status_lines.h"

struct sDeviceInfo;

// Brings the lines of the status up to date: every key with its value, in the order of the file.
// now: seconds since the epoch. connectedS: how long the session has been up.
void updateStatusLines(cStatusLines& lines, const sDeviceInfo& device,
                       const sConfigFileOpts& config, long long now, unsigned connectedS);

#endif
