#include "gps/telit_gps.h"

#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>

#include "device/at_port.h"
#include "include/debug.h"
#include "include/shell.h"
#include "include/sleep.h"

namespace {

// Single bits of the file type, tested in this order, so a block device passes as a character
// device.
constexpr mode_t CHARACTER_DEVICE_BIT = 0x2000;
constexpr mode_t FIFO_BIT = 0x1000;

// gpsd needs a moment to open or release the port.
constexpr unsigned GPSD_SETTLE_US = 500000;

constexpr const char* LETTERS_OF_A_SAFE_PATH =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:@+,-";

// The path is passed through a shell, where a leading dash would make it an option.
bool isSafePath(const std::string& path) {
    return !path.empty() && path.front() != '-' &&
           path.find_first_not_of(LETTERS_OF_A_SAFE_PATH) == std::string::npos;
}

}  // namespace

cTelitGps::~cTelitGps() {
    closeDevice(m_port);
}

void cTelitGps::trace(const char* function) const {
    debug(eLOG_GPS, m_debugMask, "Entering %s()", function);
}

void cTelitGps::init(const std::string& devicePath, const std::string& slot) {
    m_devicePath = devicePath;
    m_gpsSlot = slot;
    m_fifoMode = false;  // checkFileHandle sets it
}

void cTelitGps::reset() {
    closeDevice(m_port);
    init("", "");
    m_debugMask = 0;
    m_chipset.clear();
    m_streamOn = false;
    m_lastHandOver = eGpsdHandOver::NONE;
}

eGeneralErrors cTelitGps::gpsStart(std::string& chipset, bool& streamFlag) {
    trace(__func__);
    streamFlag = m_streamOn;
    if (m_streamOn) {
        debug(eLOG_NOTICE, m_debugMask, "%s(): Stream already started", __func__);
        // A stream that could not be stopped still runs, but nobody reads it.
        if (m_lastHandOver == eGpsdHandOver::REMOVE) updateGpsd(true);
        return eERROR_DEVICE_GPS_START_STREAM_SUCCESS;
    }
    chipset.clear();
    if (checkFileHandle(m_devicePath) != 0) return eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID;
    updateGpsd(false);
    eGeneralErrors result = openGpsDevice();
    if (result != eSUCCESS) return result;
    result = startOnOpenPort();
    // If gpsd does not get the port, it need not stay open: the next start opens it again.
    closeDevice(m_port);
    if (result == eERROR_DEVICE_GPS_START_STREAM_SUCCESS) updateGpsd(true);
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT)
        debug(eLOG_NOTICE, m_debugMask,
              "Error: GPS port %s does not answer as it should, and so set-up of the modem does "
              "not end; CM_GPS_ENABLE=no leaves GPS out",
              m_devicePath.c_str());
    chipset = m_chipset;
    streamFlag = m_streamOn;
    return result;
}

eGeneralErrors cTelitGps::startOnOpenPort() {
    // An earlier stream may still run. If it cannot be stopped, the chipset does not answer.
    stopGpsStream();
    if (getGpsChipset(m_port) != eERROR_DEVICE_GPS_ENABLED) return enableReceiver();
    setSkvsEnableCount(0);
    const eGeneralErrors result = startGpsStream();
    if (result != eERROR_DEVICE_GPS_START_STREAM_SUCCESS) setSkvsStream(eSKVS_STREAM_NOT_STARTED);
    return result;
}

eGeneralErrors cTelitGps::enableReceiver() {
    if (checkSkvsEnableCount() == eERROR_DEVICE_GPS_ENABLE_MAX_COUNT)
        return eERROR_DEVICE_GPS_ENABLE_MAX_COUNT;
    if (setSkvsEnabled(eSKVS_GPS_NOT_ENABLED) != eSUCCESS)
        return eERROR_DEVICE_GPS_SET_SKVS_FAILURE;
    debug(eLOG_NOTICE, m_debugMask, "Enabling GPS chipset...");
    const eGeneralErrors result = mapPortResult(gpsEnable(m_port));
    if (result != eSUCCESS) {
        debug(eLOG_NOTICE, m_debugMask, "%s",
              result == eERROR_DEVICE_RESPONSE_TIMEOUT
                  ? "Error: Enable GPS timeout"
                  : "Error: Enable GPS chipset reported an error");
        return result;
    }
    debug(eLOG_NOTICE, m_debugMask,
          "%s(): GPS chipset enable setting saved, device requires a reset to use GPS", "gpsStart");
    return eERROR_DEVICE_REQUIRES_RESET;
}

eGeneralErrors cTelitGps::gpsStop(bool& streamFlag) {
    trace(__func__);
    streamFlag = m_streamOn;
    if (!m_streamOn) {
        debug(eLOG_NOTICE, m_debugMask, "%s(): Stream already stopped", __func__);
        return eERROR_DEVICE_GPS_STOP_STREAM_SUCCESS;
    }
    setSkvsStream(eSKVS_STREAM_NOT_STARTED);
    if (m_gpsSlot.empty()) {
        debug(eLOG_NOTICE, m_debugMask, "Error: GPSSlot empty, cannot stop()");
        return eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID;
    }
    if (checkFileHandle(m_devicePath) != 0) return eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID;
    updateGpsd(false);
    m_streamOn = false;
    const eGeneralErrors result = stopAndClose();
    streamFlag = m_streamOn;
    return result;
}

eGeneralErrors cTelitGps::stopAndClose() {
    if (openDevice(m_devicePath, m_port) != 0) return eERROR_DEVICE_GPS_DEV_OPEN_FAILURE;
    const eGeneralErrors result = stopGpsStream();
    closeDevice(m_port);
    return result;
}

eGeneralErrors cTelitGps::openGpsDevice() {
    if (checkFileHandle(m_devicePath) != 0) return eERROR_DEVICE_GPS_DEVICE_HANDLE_INVALID;
    closeDevice(m_port);
    if (openDevice(m_devicePath, m_port) != 0) return eERROR_DEVICE_GPS_DEV_OPEN_FAILURE;
    return eSUCCESS;
}

int cTelitGps::checkFileHandle(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        const int error = errno;
        debug(eLOG_NOTICE, m_debugMask, "Error: GPS device handle %s is not accessable",
              path.c_str());
        return error;
    }
    if ((info.st_mode & CHARACTER_DEVICE_BIT) != 0) {
        debug(eLOG_GPS, m_debugMask, "%s(): GPS device handle %s is a character device", __func__,
              path.c_str());
        return 0;
    }
    if ((info.st_mode & FIFO_BIT) != 0) {
        debug(eLOG_GPS, m_debugMask, "%s(): GPS device handle %s is a FIFO handle", __func__,
              path.c_str());
        m_fifoMode = true;
        return 0;
    }
    debug(eLOG_NOTICE, m_debugMask, "Error: GPS device handle %s is not a usable device",
          path.c_str());
    return -1;
}

void cTelitGps::updateGpsd(bool add) {
    if (m_fifoMode) {
        debug(eLOG_NOTICE, m_debugMask,
              "NOTICE: %s(): Device is a FIFO (test mode), not updating gpsd", __func__);
        return;
    }
    if (!isSafePath(m_devicePath)) {
        debug(eLOG_NOTICE, m_debugMask,
              "Error: GPS device handle %s cannot be given to gpsd, its name holds more than "
              "letters, digits and _./:@+,-",
              m_devicePath.c_str());
        return;
    }
    const std::string command = std::string("timeout -t 5 gpsdctl ") + (add ? "add " : "remove ") +
                                m_devicePath + " &>/dev/null";
    debug(eLOG_NOTICE, m_debugMask, "%s(): running system command '%s'", __func__, command.c_str());
    const int status = runShellCommand(command);
    m_lastHandOver = add ? eGpsdHandOver::ADD : eGpsdHandOver::REMOVE;
    debug(eLOG_NOTICE, m_debugMask, "%s(): command exited with return code %d", __func__,
          WIFEXITED(status) ? WEXITSTATUS(status) : status);
    maybeSleep(GPSD_SETTLE_US);
}

void cTelitGps::maybeSleep(unsigned microseconds) const {
    if (!m_fifoMode) sleepMicroseconds(microseconds);
}
