#include "statemachine/modem_control.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "atcmd/radio_config.h"
#include "device/at_transaction.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/shell.h"
#include "include/sleep.h"
#include "platform/include/timer.h"

namespace {

constexpr unsigned MODEM_READY_S = 10;
constexpr unsigned MODEM_READY_POLL_US = 100000;
constexpr const char* MODEM_READY_TEXT = "+PACSP0";

}  // namespace

void waitModemReady(int port) {
    traceEntry(eLOG_STATE, __func__);
    cTimer timer(0, MODEM_READY_S);
    timer.Start();
    std::string announced;
    while (!timer.IsTimerDone()) {
        std::string piece;
        readAtCommandResponse(port, piece, 0);
        // The announcement may come in two readings.
        announced += piece;
        if (announced.find(MODEM_READY_TEXT) != std::string::npos) {
            debug(eLOG_NOTICE, g_i_debugMode, "Modem Ready after %ld seconds",
                  static_cast<long>(timer.GetElapsedTime()));
            return;
        }
        sleepMicroseconds(MODEM_READY_POLL_US);
    }
}

int powerOffDevice() {
    const std::string command = "sledctl " + g_S_options.s_port + " off &";
    debug(eLOG_NOTICE, g_i_debugMode, "Powering off device with '%s'", command.c_str());
    return runShellCommand(command);
}

void resetDevice(int port) {
    traceEntry(eLOG_STATE, __func__);
    if (setReboot(port) == ePORT_OK) return;
    const std::string command = "ResetCellular now force -s " + g_S_options.s_port + " &";
    debug(eLOG_NOTICE, g_i_debugMode, "Resetting device with '%s'", command.c_str());
    runShellCommand(command);
}

bool checkFirmwareUpdate(const std::string& directory) {
    const std::string trigger =
        directory + "/cellmodem_firmware/start_update." + g_S_options.s_port;
    struct stat info;
    if (lstat(trigger.c_str(), &info) != 0) return false;
    if (remove(trigger.c_str()) != 0)
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): Error: Cannot delete %s, errno %d (%s)", __func__,
              trigger.c_str(), errno, strerror(errno));
    return true;
}

int checkFirmwareStatus(int, sModemInfo&) {
    return 0;
}

bool maybeSetSystemTime(int port) {
    traceEntry(eLOG_STATE, __func__);
    // Six numbers with fixed separators: nothing of the modem's own text reaches the shell.
    const std::string date = getCCLK(port);
    if (date.empty()) return false;
    const std::string command = "systime.sh --set \"" + date + "\" &>/dev/null";
    debug(eLOG_STATE, g_i_debugMode, "%s(): Running command '%s'", __func__, command.c_str());
    const bool done = runShellCommand(command) == 0;
    if (done)
        debug(eLOG_NOTICE, g_i_debugMode, "Success updating system date/time to '%s'",
              date.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "Failed to update system date/time to '%s'",
              date.c_str());
    return done;
}
