#ifndef PUBLISHED_INSTALLATION_H
#define PUBLISHED_INSTALLATION_H

#include <string>

#include "published/slot.h"

// How the daemon is installed. packaging/ and gateway-tools/ repeat these values because shell
// cannot include this header; a unit test compares them.

// The wiring of the slots.
constexpr const char* SLOTS_FILE = "/etc/cellslot/slots.conf";

// The host tools that the daemon runs.
constexpr const char* HOST_TOOLS_FOLDER = "/usr/lib/cellslot";

// What setup_cellint.sh changed for an interface, whose name follows; a line for each change.
constexpr const char* INTERFACE_NOTES_PREFIX = "/run/cellslot/cellint.";

// In /lib/udev/rules.d and /usr/lib/systemd/network, or a file of that name in /etc: they keep
// others off the modem.
constexpr const char* UDEV_RULES_FILE = "60-cellslot.rules";
constexpr const char* NETWORKD_FILE = "00-cellslot.network";

// The service of systemd; each slot is an instance, "cellslotd@1".
constexpr const char* SERVICE_UNIT = "/lib/systemd/system/cellslotd@.service";
std::string serviceName(const cSlotText& slot);
// Exists while the service is enabled.
std::string enabledServicePath(const cSlotText& slot);
// Its settings: DEVICE, GPS_DEVICE, INTERFACE, OPTIONS.
std::string serviceSettingsPath(const cSlotText& slot);

// The daemon's own log, if syslog has a rule for it.
constexpr const char* DAEMON_LOG_FILE = "/var/log/cellslotd.log";

#endif
