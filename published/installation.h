#ifndef PUBLISHED_INSTALLATION_H
#define PUBLISHED_INSTALLATION_H

#include <string>

#include "published/slot.h"

// How the daemon is installed: what packaging/ and gateway-tools/, which are shell and cannot
// include this, have as well. A unit test compares them.

// How the slots are wired.
constexpr const char* SLOTS_FILE = "/etc/cellslot/slots.conf";

// The host tools that the daemon runs.
constexpr const char* HOST_TOOLS_FOLDER = "/usr/lib/cellslot";

// The service of systemd; each slot is an instance, "cellslotd@1".
constexpr const char* SERVICE_UNIT = "/lib/systemd/system/cellslotd@.service";
std::string serviceName(const cSlotText& slot);
// There while the service is enabled.
std::string enabledServicePath(const cSlotText& slot);
// Its settings: DEVICE, GPS_DEVICE, INTERFACE, OPTIONS.
std::string serviceSettingsPath(const cSlotText& slot);

// The daemon's own log, where syslog has the rule for it.
constexpr const char* DAEMON_LOG_FILE = "/var/log/cellslotd.log";

#endif
