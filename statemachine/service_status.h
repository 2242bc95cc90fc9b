#ifndef STATEMACHINE_SERVICE_STATUS_H
#define STATEMACHINE_SERVICE_STATUS_H

#include <string>

struct sDeviceInfo;

// The daemon's state in one line for the service manager: "registered, LTE B4, connected 2 h".
// portOpen: whether the modem's port is. connectedS: seconds since the data session was started,
// counted only while connected.
std::string describeService(const sDeviceInfo& device, bool portOpen, bool connected,
                            unsigned connectedS);

#endif
