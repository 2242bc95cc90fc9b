#include "cli/status/no_daemon.h"

#include "cli/base/daemon_process.h"
#include "cli/base/printable_text.h"
#include "cli/base/slot_name.h"
#include "published/installation.h"

namespace {

std::string startService(int slot) {
    return "systemctl start " + serviceName(slot);
}

}  // namespace

std::string noDaemonText(int slot) {
    return "no daemon is running for " + slotName(slot);
}

std::string noDaemonReason(const sSlotReport& report) {
    const std::string why =
        isPowerOff(report.data.value) ? ", as requested: " + printableLine(report.data.why) : "";
    return noDaemonText(report.slot) + why;
}

cFailure noDaemonAtAll() {
    return {eExitStatus::NO_DAEMON,
            "no daemon is running for any slot; to start one: " + startService(FIRST_SLOT)};
}

cFailure noDaemon(const sSlotReport& report) {
    return {eExitStatus::NO_DAEMON,
            noDaemonReason(report) + "; to start it: " + howToStart(report.slot, report.data)};
}

bool isPowerOff(eCfgDataStatus value) {
    return value == eCONF_DATA_CONNECT_TEMP_MODEM_OFF || value == eCONF_DATA_CONNECT_MODEM_OFF;
}

std::string howToStart(int slot, const sDataDirectiveReport& data) {
    const std::string number = std::to_string(slot);
    const std::string start = startService(slot);
    if (data.value == eCONF_DATA_CONNECT_TEMP_MODEM_OFF)
        return "cellslot data auto -p " + number + ", then: " + start;
    if (data.value == eCONF_DATA_CONNECT_MODEM_OFF)
        return "set CM_ENABLE_INTERFACE=yes in " + printableLine(data.configPath) +
               ", then: " + start;
    return start;
}

int requireDaemon(const sPlaces& places, int slot) {
    const int pid = runningDaemon(places, slot);
    if (pid != 0) return pid;
    throw noDaemon(reportSlot(places, slot, currentMoment()));
}
