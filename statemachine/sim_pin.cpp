#include "statemachine/sim_pin.h"

#include "atcmd/catalogue.h"
#include "atcmd/sim_commands.h"
#include "include/debug.h"
#include "include/sleep.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "statemachine/sim_status.h"

std::unique_ptr<cFileMonitor> g_Cp_MonitorCurrentCpinFile;
std::unique_ptr<cFileMonitor> g_Cp_MonitorNewCpinFile;
std::unique_ptr<cFileMonitor> g_Cp_MonitorPukFile;

namespace {

constexpr size_t CPIN_FILE_MAX = 16;
constexpr mode_t CPIN_FILE_MODE = 0600;
constexpr int PIN_ATTEMPTS_FULL = 3;
constexpr unsigned AFTER_PUK_UNLOCK_US = 1000000;
constexpr unsigned AFTER_PIN_CHANGE_US = 200000;

// The gateway's monitors take a flag and a depth.
constexpr int MONITOR_FLAGS = 0;
constexpr int MONITOR_DEPTH = 10;

struct sSimPinState {
    bool rearmed = false;    // the modem was away since the PIN was used
    std::string refusedPin;  // of the last unlock that failed
};

sSimPinState g_simPinState;

struct sOutcome {
    eGeneralErrors result;
    std::string text;
};

bool isChanged(const std::unique_ptr<cFileMonitor>& monitor) {
    return monitor && monitor->GetFileStatus() == cFileMonitor::STATUS_CHANGED;
}

void markProcessing(const std::unique_ptr<cFileMonitor>& monitor, bool begins) {
    if (monitor) monitor->ProcessingFile(begins);
}

std::unique_ptr<cFileMonitor> createMonitor(const std::string& path) {
    auto monitor = std::make_unique<cFileMonitor>();
    monitor->imonitorInit(path, MONITOR_FLAGS, MONITOR_DEPTH);
    return monitor;
}

void writeCurrentCpin(const sSimInfo& sim, const std::string& pin) {
    cFileVector file(sim.s_cpin_path, CPIN_FILE_MODE);
    file.AppendLine(pin);
    file.Write();
}

std::string cmeText(ePortReturn result) {
    return "CME error '" + mapText(CMEE_Map, result) + "' (" + itos(result) + ")";
}

// what: "current" or "new".
sOutcome invalidPinToChange(const char* what, const std::string& pin) {
    const std::string start = std::string("Error: Cannot change SIM CPIN, ") + what + " CPIN ";
    return {eERROR_DEVICE_CPIN_FORMAT_INVALID,
            pin.empty() ? start + "is empty" : start + "'" + pin + "', not a valid format"};
}

bool isBadPassword(ePortReturn result) {
    return result == CME_INCORRECT_PASSWORD || result == CME_SIM_PUK_REQUIRED;
}

// A PIN that the re-arming may use: there is one, it did not fail, and the SIM has lost no attempt.
bool mayUseCpinAgain(const sSimInfo& sim) {
    if (!g_simPinState.rearmed || sim.i_pin_attempts != PIN_ATTEMPTS_FULL) return false;
    const std::string pin = readCpinFile(sim.s_cpin_path);
    return !pin.empty() && pin != g_simPinState.refusedPin;
}

sOutcome unlockWithPin(int port, const sSimInfo& sim, const std::string& pin) {
    const std::string failed = "Error: Unable to unlock SIM PIN, ";
    const ePortReturn result = unlockCpin(port, pin);
    if (result == ePORT_OK) return {eSUCCESS, "SIM PIN successfully unlocked"};
    if (result == ePORT_ERROR) return {eERROR_DEVICE_UNLOCK_CPIN_FAILED, failed + "returned error"};
    if (result == ePORT_NO_FINAL_RESULT)
        return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "command time out"};
    if (!isBadPassword(result)) return {eERROR_DEVICE_ENABLE_CPIN_FAILED, failed + cmeText(result)};
    clearCpinFile(sim.s_cpin_path);
    clearCpinFile(sim.s_cpin_new_path);
    return {eERROR_DEVICE_ENABLE_CPIN_FAILED, failed + "bad password '" + pin + "'"};
}

sOutcome tryUnlockPin(int port, const sSimInfo& sim) {
    const std::string pin = readCpinFile(sim.s_cpin_path);
    if (verifyCpinFormat(pin)) {
        sOutcome outcome = unlockWithPin(port, sim, pin);
        // Silence says nothing about the PIN; what the SIM has left of its attempts does.
        const bool judged = outcome.result != eERROR_DEVICE_RESPONSE_TIMEOUT;
        g_simPinState.refusedPin = judged && outcome.result != eSUCCESS ? pin : "";
        return outcome;
    }
    clearCpinFile(sim.s_cpin_path);
    return {eERROR_DEVICE_CPIN_FORMAT_INVALID,
            pin.empty() ? "Error: Cannot unlock SIM, CPIN is not set"
                        : "Error: Cannot unlock SIM with CPIN '" + pin + "', not a valid format"};
}

sOutcome checkPukAndPin(const std::string& puk, const std::string& newPin) {
    if (!verifyPukFormat(puk))
        return {eERROR_DEVICE_PUK_FORMAT_INVALID,
                puk.empty()
                    ? "Error: Cannot unlock SIM PUK, PUK is empty"
                    : "Error: Cannot unlock SIM PUK, PUK '" + puk + "', not a valid format"};
    if (!verifyCpinFormat(newPin))
        return {eERROR_DEVICE_CPIN_FORMAT_INVALID,
                newPin.empty() ? "Error: Cannot unlock SIM PUK, CPIN is not set"
                               : "Error: Cannot unlock SIM PUK, and change CPIN, CPIN '" + newPin +
                                     "', not a valid format"};
    return {eSUCCESS, ""};
}

// The refusal comes before the time-out and takes every CME number with it, so that a wrong PUK
// reads as an error that was returned.
sOutcome unlockWithPuk(int port, sSimInfo& sim, const std::string& puk, const std::string& newPin) {
    const std::string failed = "Error: Unable to unlock SIM PUK, ";
    const ePortReturn result = unlockPuk(port, puk, newPin);
    if (result == ePORT_OK) {
        writeCurrentCpin(sim, newPin);
        sleepMicroseconds(AFTER_PUK_UNLOCK_US);
        doGetSimStatus(port, sim);
        return {eSUCCESS, "SIM PUK successfully unlocked"};
    }
    if (isPortError(result)) return {eERROR_DEVICE_UNLOCK_PUK_FAILED, failed + "returned error"};
    if (result == ePORT_NO_FINAL_RESULT)
        return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "command time out"};
    return {eERROR_DEVICE_UNLOCK_PUK_FAILED, failed + cmeText(result)};
}

sOutcome changePin(int port, const std::string& currentPin, const std::string& newPin) {
    const std::string pins = "'" + currentPin + "' to '" + newPin + "'";
    const std::string failed = "Error: Unable to change SIM PIN from " + pins + ", ";
    const ePortReturn result = changeCpin(port, currentPin, newPin);
    switch (result) {
        case ePORT_OK:
            return {eSUCCESS, "SIM PIN successfully changed from " + pins};
        case ePORT_NO_FINAL_RESULT:
            return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "AT command timed out"};
        case ePORT_ERROR:
            return {eERROR_DEVICE_SET_CPIN_FAILED, failed + "AT command returned an error"};
        case ePORT_CONNECT:
            return {eERROR_DEVICE_CHANGE_CPIN_FAILED, failed + "unknown error " + itos(result)};
        case ePORT_CMX_ERROR:
            break;
    }
    if (result == CME_INCORRECT_PASSWORD)
        return {eERROR_DEVICE_CPIN_BAD_PASSWORD, failed + "bad password."};
    return {eERROR_DEVICE_CHANGE_CPIN_FAILED,
            "Error: Unable to change SIM PIN from" + pins + ", " + cmeText(result)};
}

// Where enabling and disabling the lock differ.
struct sLockOperation {
    bool enable;
    const char* verb;
    eGeneralErrors formatInvalid;
    eGeneralErrors returnedError;
};

const sLockOperation ENABLE_LOCK = {true, "enable", eERROR_DEVICE_CPIN_FORMAT_INVALID,
                                    eERROR_DEVICE_SET_CPIN_FAILED};
const sLockOperation DISABLE_LOCK = {false, "disable", eFAILURE, eERROR_DEVICE_CLEAR_CPIN_FAILED};

sOutcome sendLock(int port, const std::string& pin, const sLockOperation& operation) {
    const std::string quoted = "'" + pin + "'";
    const std::string failed = std::string("Error: Unable to ") + operation.verb + " SIM PIN";
    const ePortReturn result = setCpinState(port, pin, operation.enable);
    switch (result) {
        case ePORT_OK:
            return {eSUCCESS, "SIM PIN " + quoted + " successfully " + operation.verb + "d"};
        case ePORT_NO_FINAL_RESULT:
            return {eERROR_DEVICE_RESPONSE_TIMEOUT,
                    failed + " " + quoted + ", AT command timed out"};
        case ePORT_ERROR:
            return {operation.returnedError,
                    failed + " " + quoted + ", AT command returned an error"};
        case ePORT_CONNECT:
            return {eFAILURE, failed + ", unknown error " + itos(result)};
        case ePORT_CMX_ERROR:
            break;
    }
    if (result == CME_INCORRECT_PASSWORD)
        return {eERROR_DEVICE_CPIN_BAD_PASSWORD, failed + ", bad password " + quoted};
    return {eERROR_DEVICE_DISABLE_CPIN_FAILED, failed + ", " + cmeText(result)};
}

eGeneralErrors setLock(int port, sSimInfo& sim, const std::string& pin,
                       const sLockOperation& operation) {
    debug(eLOG_NOTICE, g_i_debugMode, "Attempting to %s SIM PIN", operation.verb);
    const std::string cannot = std::string("Error: Cannot ") + operation.verb + " SIM CPIN, CPIN ";
    if (!verifyCpinFormat(pin)) {
        sim.s_outcome =
            pin.empty() ? cannot + "is empty" : cannot + "'" + pin + "', not a valid format";
        return operation.formatInvalid;
    }
    if (sim.i_lock_class != eSIM_READY) {
        sim.s_outcome = std::string("Error SIM is not in a ready state, cannot ") + operation.verb +
                        " the SIM PIN";
        return eERROR_DEVICE_SIM_NOT_READY;
    }
    const sOutcome outcome = sendLock(port, pin, operation);
    sim.s_outcome = outcome.text;
    return outcome.result;
}

eGeneralErrors requestLock(int port, sSimInfo& sim, const std::string& currentPin,
                           const sLockOperation& operation) {
    // A lock that is not known (-1) is neither on nor off: then the modem is asked.
    if (sim.i_pin_lock_enabled == (operation.enable ? 1 : 0)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Notice: CPIN already %sd, cannot change",
              operation.verb);
        return eSUCCESS;
    }
    const eGeneralErrors result = setLock(port, sim, currentPin, operation);
    if (result == eERROR_DEVICE_CPIN_BAD_PASSWORD) clearCpinFile(sim.s_cpin_path);
    return result;
}

void afterChange(int port, sSimInfo& sim, const std::string& currentPin, const std::string& newPin,
                 eGeneralErrors result) {
    if (result == eSUCCESS) {
        sleepMicroseconds(AFTER_PIN_CHANGE_US);
        doGetSimStatus(port, sim);
        writeCurrentCpin(sim, newPin);
        debug(eLOG_NOTICE, g_i_debugMode, "CPIN chnage success to %s", newPin.c_str());
        debug(eLOG_NOTICE, g_i_debugMode, "Device may require a reset after CPIN change");
    } else if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Warning: Device timeout while trying to change CPIN password to %s", newPin.c_str());
    } else if (result == eERROR_DEVICE_CPIN_BAD_PASSWORD) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Cannot CHANGE CPIN from '%s' to '%s', bad password", currentPin.c_str(),
              newPin.c_str());
        clearCpinFile(sim.s_cpin_path);
    } else {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Cannot CHANGE CPIN from '%s' to '%s', returned an error.", currentPin.c_str(),
              newPin.c_str());
    }
}

eGeneralErrors requestChange(int port, sSimInfo& sim, const std::string& currentPin,
                             const std::string& newPin) {
    if (newPin == currentPin) {
        sim.s_outcome = "OLD/NEW CPINs '" + newPin + "' are the same, ignoring";
        return eSUCCESS;
    }
    if (!verifyCpinFormat(newPin)) {
        sim.s_outcome =
            "Error: Cannot change SIM CPIN, New CPIN '" + newPin + "' is not a valid format.";
        return eERROR_DEVICE_CPIN_FORMAT_INVALID;
    }
    const eGeneralErrors result = changeCpinPassword(port, sim, currentPin, newPin);
    afterChange(port, sim, currentPin, newPin, result);
    return result;
}

eGeneralErrors applyRequest(int port, sSimInfo& sim, const std::string& request,
                            const std::string& currentPin) {
    if (request.empty()) return eSUCCESS;
    sim.s_outcome.clear();
    clearCpinFile(sim.s_cpin_new_path);
    eGeneralErrors result;
    if (!verifyCpinFormat(currentPin)) {
        sim.s_outcome =
            "Error: Cannot change SIM CPIN, Current CPIN " + currentPin + " is not a valid format";
        clearCpinFile(sim.s_cpin_path);
        result = eERROR_DEVICE_CPIN_FORMAT_INVALID;
    } else if (request == "disable") {
        result = requestLock(port, sim, currentPin, DISABLE_LOCK);
    } else if (request == "enable") {
        result = requestLock(port, sim, currentPin, ENABLE_LOCK);
    } else {
        result = requestChange(port, sim, currentPin, request);
    }
    if (!sim.s_outcome.empty()) debug(eLOG_NOTICE, g_i_debugMode, "%s", sim.s_outcome.c_str());
    return result;
}

}  // namespace

void resetSimPinState() {
    g_simPinState = {};
    g_Cp_MonitorCurrentCpinFile.reset();
    g_Cp_MonitorNewCpinFile.reset();
    g_Cp_MonitorPukFile.reset();
}

void createCpinMonitors(const sSimInfo& sim) {
    g_Cp_MonitorCurrentCpinFile = createMonitor(sim.s_cpin_path);
    g_Cp_MonitorNewCpinFile = createMonitor(sim.s_cpin_new_path);
    g_Cp_MonitorPukFile = createMonitor(sim.s_puk_path);
}

void rearmCurrentCpin() {
    g_simPinState.rearmed = true;
}

void disarmCurrentCpin() {
    g_simPinState.rearmed = false;
}

eGeneralErrors maybeUnlockSimPin(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (sim.i_lock_class == eSIM_READY) {
        sim.s_outcome = "Error: Cannot unlock SIM, already in a ready state";
        return eSUCCESS;
    }
    if (sim.i_lock_class != eSIM_PIN_REQUIRED) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Warning: SIM is not CPIN locked, cannot unlock",
              __func__);
        return eERROR_DEVICE_NOT_CPIN_LOCKED;
    }
    if (!isChanged(g_Cp_MonitorCurrentCpinFile) && !mayUseCpinAgain(sim)) {
        debug(eLOG_POLICY, g_i_debugMode,
              "%s(): Warning: SIM locked, but CPIN file has not changed", __func__);
        return eFAILURE;
    }
    markProcessing(g_Cp_MonitorCurrentCpinFile, true);
    g_simPinState.rearmed = false;
    const sOutcome outcome = tryUnlockPin(port, sim);
    sim.s_outcome = outcome.text;
    debug(eLOG_NOTICE, g_i_debugMode, "%s", sim.s_outcome.c_str());
    markProcessing(g_Cp_MonitorCurrentCpinFile, false);
    return outcome.result;
}

eGeneralErrors maybeUnlockSimPuk(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (sim.i_lock_class == eSIM_READY) {
        sim.s_outcome = "Error: Cannot unlock SIM, already in a ready state";
        return eSUCCESS;
    }
    if (sim.i_lock_class != eSIM_PUK_REQUIRED) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Warning: SIM is not PUK locked, cannot unlock",
              __func__);
        return eERROR_DEVICE_NOT_PUK_LOCKED;
    }
    if (!isChanged(g_Cp_MonitorPukFile)) {
        debug(eLOG_POLICY, g_i_debugMode,
              "%s(): Warning: SIM PUK locked, but PUK file has not changed", __func__);
        return eFAILURE;
    }
    markProcessing(g_Cp_MonitorPukFile, true);
    // The new PIN belongs to the PUK: it must not come back as a request once the SIM is ready.
    markProcessing(g_Cp_MonitorNewCpinFile, true);
    const std::string puk = readCpinFile(sim.s_puk_path);
    const std::string newPin = readCpinFile(sim.s_cpin_new_path);
    clearCpinFile(sim.s_puk_path);
    clearCpinFile(sim.s_cpin_new_path);

    sOutcome outcome = checkPukAndPin(puk, newPin);
    if (outcome.result == eSUCCESS) outcome = unlockWithPuk(port, sim, puk, newPin);
    sim.s_outcome = outcome.text;
    debug(eLOG_NOTICE, g_i_debugMode, "%s", sim.s_outcome.c_str());
    markProcessing(g_Cp_MonitorPukFile, false);
    markProcessing(g_Cp_MonitorNewCpinFile, false);
    return outcome.result;
}

eGeneralErrors manageCpin(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (!isChanged(g_Cp_MonitorNewCpinFile)) return eSUCCESS;
    // Marked before they are read: what is written from now on counts for the next time.
    markProcessing(g_Cp_MonitorNewCpinFile, true);
    markProcessing(g_Cp_MonitorCurrentCpinFile, true);
    const std::string request = readCpinFile(sim.s_cpin_new_path);
    const std::string currentPin = readCpinFile(sim.s_cpin_path);
    const eGeneralErrors result = applyRequest(port, sim, request, currentPin);
    markProcessing(g_Cp_MonitorNewCpinFile, false);
    markProcessing(g_Cp_MonitorCurrentCpinFile, false);
    return result;
}

eGeneralErrors changeCpinPassword(int port, sSimInfo& sim, const std::string& currentPin,
                                  const std::string& newPin) {
    traceEntry(eLOG_POLICY, __func__);
    sOutcome outcome;
    if (!verifyCpinFormat(currentPin)) {
        outcome = invalidPinToChange("current", currentPin);
    } else if (!verifyCpinFormat(newPin)) {
        outcome = invalidPinToChange("new", newPin);
    } else if (sim.i_lock_class != eSIM_READY) {
        outcome = {eERROR_DEVICE_SIM_NOT_READY,
                   "Error SIM is not in a ready state, cannot change the SIM PIN"};
    } else {
        if (sim.i_pin_lock_enabled == 0) {
            const eGeneralErrors enabled = enableCpinPassword(port, sim, currentPin);
            if (enabled != eSUCCESS) return enabled;
        }
        outcome = changePin(port, currentPin, newPin);
    }
    sim.s_outcome = outcome.text;
    return outcome.result;
}

eGeneralErrors enableCpinPassword(int port, sSimInfo& sim, const std::string& pin) {
    traceEntry(eLOG_POLICY, __func__);
    return setLock(port, sim, pin, ENABLE_LOCK);
}

eGeneralErrors disableCpinPassword(int port, sSimInfo& sim, const std::string& pin) {
    traceEntry(eLOG_POLICY, __func__);
    return setLock(port, sim, pin, DISABLE_LOCK);
}

int verifyCpinFormat(const std::string& pin) {
    return isStringNumeric(pin) && pin.size() >= 4 && pin.size() <= 8;
}

int verifyPukFormat(const std::string& puk) {
    return isStringNumeric(puk) && puk.size() == 8;
}

std::string readCpinFile(const std::string& path) {
    std::string text;
    readFile2String(path, text, CPIN_FILE_MAX);
    return cleanWhiteSpace(text);
}

void clearCpinFile(const std::string& path) {
    debug(eLOG_NOTICE, g_i_debugMode, "Clearing CPIN file %s", path.c_str());
    cFileVector file(path, CPIN_FILE_MODE);
    file.clear();
    file.Write();
}
