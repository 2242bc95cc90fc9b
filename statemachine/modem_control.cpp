#include "statemachine/modem_control.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "atcmd/radio_config.h"
#include "device/at_transaction.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/shell.h"
#include "include/sleep.h"
#include "platform/include/timer.h"
#include "published/paths.h"

namespace {

constexpr unsigned MODEM_READY_S = 10;
constexpr unsigned MODEM_READY_POLL_US = 100000;
constexpr const char* MODEM_READY_TEXT = "+PACSP0";

// An operator who made the folder a link would wait for an update that never starts.
void reportLinkedTrigger(const std::string& folder, const std::string& trigger) {
    struct stat info;
    const std::string path = folder + "/" + trigger;
    const bool isThere = lstat(folder.c_str(), &info) == 0 && S_ISLNK(info.st_mode) &&
                         lstat(path.c_str(), &info) == 0;
    if (!isThere) return;
    debug(eLOG_NOTICE, g_i_debugMode,
          "Error: %s is not followed, since its folder is a link: make it a folder, or remove it",
          path.c_str());
}

// Each attempt to set the clock has another time in its text.
void logClock(bool done, const std::string& date) {
    const cVaryingNumbers times;
    if (done)
        debug(eLOG_NOTICE, g_i_debugMode, "Success updating system date/time to '%s'",
              date.c_str());
    else
        debug(eLOG_NOTICE, g_i_debugMode, "Failed to update system date/time to '%s'",
              date.c_str());
}

// Deletes an entry of an open folder, whatever it is. False when there is none.
bool takeEntry(int fd, const std::string& folder, const std::string& name) {
    struct stat info;
    if (fstatat(fd, name.c_str(), &info, AT_SYMLINK_NOFOLLOW) != 0) return false;
    const int flags = S_ISDIR(info.st_mode) ? AT_REMOVEDIR : 0;
    if (unlinkat(fd, name.c_str(), flags) != 0)
        debug(eLOG_NOTICE, g_i_debugMode,
              "checkFirmwareUpdate(): Error: Cannot delete %s/%s, errno %d (%s)", folder.c_str(),
              name.c_str(), errno, strerror(errno));
    return true;
}

}  // namespace

void waitModemReady(int port) {
    traceEntry(eLOG_STATE, __func__);
    cTimer timer(0, MODEM_READY_S);
    timer.Start();
    std::string announced;
    while (!timer.IsTimerDone()) {
        std::string piece;
        readAtCommandResponse(port, piece, 0);
        announced += piece;
        if (announced.find(MODEM_READY_TEXT) != std::string::npos) {
            debug(eLOG_NOTICE, g_i_debugMode, "Modem Ready after %ld seconds",
                  static_cast<long>(timer.GetElapsedTime()));
            return;
        }
        // The report may come in several pieces; older input is dropped.
        const size_t begun = strlen(MODEM_READY_TEXT) - 1;
        if (announced.size() > begun) announced.erase(0, announced.size() - begun);
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
    const std::string folder = directory + "/" + FIRMWARE_FOLDER_NAME;
    const std::string trigger = firmwareTriggerName(g_S_options.s_port);
    // Any user may create the folder. If it is a link, files would be deleted where it leads.
    const int fd = open(folder.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd == -1) {
        reportLinkedTrigger(folder, trigger);
        return false;
    }
    const bool found = takeEntry(fd, folder, trigger);
    close(fd);
    return found;
}

int checkFirmwareStatus(int, sModemInfo&) {
    return 0;
}

bool maybeSetSystemTime(int port) {
    traceEntry(eLOG_STATE, __func__);
    // Six numbers with fixed separators: no text of the modem reaches the shell.
    const std::string date = getCCLK(port);
    if (date.empty()) return false;
    const std::string command = "systime.sh --set \"" + date + "\" &>/dev/null";
    debug(eLOG_STATE, g_i_debugMode, "%s(): Running command '%s'", __func__, command.c_str());
    const bool done = runShellCommand(command) == 0;
    logClock(done, date);
    return done;
}
