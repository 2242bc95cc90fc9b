#include "statemachine/sim_pin_files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "atcmd/catalogue.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/flush.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "published/pin_format.h"

std::unique_ptr<cFileMonitor> g_Cp_MonitorCurrentCpinFile;
std::unique_ptr<cFileMonitor> g_Cp_MonitorNewCpinFile;
std::unique_ptr<cFileMonitor> g_Cp_MonitorPukFile;

namespace {

constexpr mode_t CPIN_FILE_MODE = 0600;

void markSeen(const std::unique_ptr<cFileMonitor>& monitor) {
    markProcessing(monitor, true);
    markProcessing(monitor, false);
}

bool isEmptyFile(const std::string& path) {
    struct stat info {};
    return lstat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size == 0;
}

// Flushes the file and its folder, so that a power cut does not restore a PIN that must not be used
// again.
bool flushFile(const std::string& path) {
    if (flushFileAndFolder(path)) return true;
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot flush CPIN file %s, errno %d (%s)",
          path.c_str(), errno, strerror(errno));
    return false;
}

}  // namespace

bool isChanged(const std::unique_ptr<cFileMonitor>& monitor) {
    return monitor && monitor->GetFileStatus() == cFileMonitor::STATUS_CHANGED;
}

void markProcessing(const std::unique_ptr<cFileMonitor>& monitor, bool begins) {
    if (monitor) monitor->ProcessingFile(begins);
}

eGeneralErrors leaveOutcome(sSimInfo& sim, const sPinOutcome& outcome) {
    sim.s_outcome = outcome.text;
    debug(eLOG_NOTICE, g_i_debugMode, "%s", sim.s_outcome.c_str());
    return outcome.result;
}

std::string readRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path) {
    // Marked as seen before it is read: a request that is written in between is read twice, not
    // lost.
    markSeen(monitor);
    return readCpinFile(path);
}

bool clearRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path) {
    const bool isCleared = clearCpinFile(path);
    if (isEmptyFile(path)) markSeen(monitor);
    return isCleared;
}

int verifyCpinFormat(const std::string& pin) {
    return isStringNumeric(pin) && pin.size() >= PIN_DIGITS_MIN && pin.size() <= PIN_DIGITS_MAX;
}

int verifyPukFormat(const std::string& puk) {
    return isStringNumeric(puk) && puk.size() == PUK_DIGITS;
}

std::string readCpinFile(const std::string& path) {
    std::string text;
    readFile2String(path, text, PIN_FILE_MAX);
    return cleanWhiteSpace(text);
}

bool clearCpinFile(const std::string& path) {
    debug(eLOG_NOTICE, g_i_debugMode, "Clearing CPIN file %s", path.c_str());
    // Nothing to replace. A program that has just opened the file to write a PIN can go on.
    if (isEmptyFile(path)) return true;
    cFileVector file(path, CPIN_FILE_MODE);
    file.clear();
    return file.Write() && flushFile(path);
}

bool writePinFile(const std::string& path, const std::string& text) {
    cFileVector file(path, CPIN_FILE_MODE);
    file.AppendLine(text);
    return file.Write() && flushFile(path);
}

bool writeCurrentCpin(const sSimInfo& sim, const std::string& pin) {
    return writePinFile(sim.s_cpin_path, pin);
}

std::string cmeText(ePortReturn result) {
    return "CME error '" + mapText(CMEE_Map, result) + "' (" + itos(result) + ")";
}
