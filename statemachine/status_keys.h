#ifndef STATEMACHINE_STATUS_KEYS_H
#define STATEMACHINE_STATUS_KEYS_H

#include <string>
#include <utility>
#include <vector>

#include "include/config_options.h"
#include "include/device_records.h"

// Key suffix and value of every line of a status file, in the order of the file. A pair whose key
// contains '#' is a comment line. now: seconds since the epoch. connectedS: how long the session
// has been up.
using tStatusList = std::vector<std::pair<std::string, std::string>>;

tStatusList buildStatusList(const sDeviceInfo& device, const sConfigFileOpts& config, long long now,
                            unsigned connectedS);

#endif
