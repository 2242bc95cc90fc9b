#include "published/installation.h"

#include "published/paths.h"

std::string serviceName(const cSlotText& slot) {
    return std::string(DAEMON_NAME) + "@" + slot.text();
}

std::string enabledServicePath(const cSlotText& slot) {
    return "/etc/systemd/system/multi-user.target.wants/" + serviceName(slot) + ".service";
}

std::string serviceSettingsPath(const cSlotText& slot) {
    return std::string("/etc/default/") + DAEMON_NAME + "." + slot.text();
}
