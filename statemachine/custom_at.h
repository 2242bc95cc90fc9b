#ifndef STATEMACHINE_CUSTOM_AT_H
#define STATEMACHINE_CUSTOM_AT_H

#include <string>

#include "include/device_records.h"

extern const std::string g_s_at_cmd_custom_path;

// The turn of other programs' AT commands in a poll. They are not handled yet: always eSUCCESS.
eGeneralErrors checkCustomAtFile(int port, sDeviceInfo& device, const std::string& directory);

#endif
