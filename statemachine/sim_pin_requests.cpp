#include "statemachine/sim_pin_requests.h"

#include "atcmd/sim_commands.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/sleep.h"
#include "platform/include/text_helpers.h"
#include "published/outcome_texts.h"
#include "published/pin_format.h"
#include "statemachine/pin_change.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin_files.h"
#include "statemachine/sim_query.h"

namespace {

constexpr unsigned AFTER_PIN_CHANGE_US = 200000;

// what: "current" or "new".
sPinOutcome invalidPinToChange(const char* what, const std::string& pin) {
    const std::string start = std::string("Error: Cannot change SIM CPIN, ") + what + " CPIN ";
    return {eERROR_DEVICE_CPIN_FORMAT_INVALID,
            pin.empty() ? start + "is empty" : start + "'" + pin + "', not a valid format"};
}

sPinOutcome changePin(int port, const sSimInfo& sim, const std::string& currentPin,
                      const std::string& newPin) {
    const std::string pins = "'" + currentPin + "' to '" + newPin + "'";
    const std::string failed = "Error: Unable to change SIM PIN from " + pins + ", ";
    notePinSent(sim, currentPin, false);
    const ePortReturn result = changeCpin(port, currentPin, newPin);
    notePinAnswer(sim, result);
    switch (result) {
        case ePORT_OK:
            return {eSUCCESS,
                    std::string("SIM PIN ") + PIN_OUTCOME_SUCCESS + " changed from " + pins};
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
        return {eERROR_DEVICE_CPIN_BAD_PASSWORD, failed + PIN_OUTCOME_REFUSED + "."};
    return {eERROR_DEVICE_CHANGE_CPIN_FAILED,
            "Error: Unable to change SIM PIN from" + pins + ", " + cmeText(result)};
}

// The differences between enabling and disabling the lock.
struct sLockOperation {
    bool enable;
    const char* verb;
    eGeneralErrors formatInvalid;
    eGeneralErrors returnedError;
};

const sLockOperation ENABLE_LOCK = {true, "enable", eERROR_DEVICE_CPIN_FORMAT_INVALID,
                                    eERROR_DEVICE_SET_CPIN_FAILED};
const sLockOperation DISABLE_LOCK = {false, "disable", eFAILURE, eERROR_DEVICE_CLEAR_CPIN_FAILED};

sPinOutcome sendLock(int port, const sSimInfo& sim, const std::string& pin,
                     const sLockOperation& operation) {
    const std::string quoted = "'" + pin + "'";
    const std::string failed = std::string("Error: Unable to ") + operation.verb + " SIM PIN";
    notePinSent(sim, pin, false);
    const ePortReturn result = setCpinState(port, pin, operation.enable);
    notePinAnswer(sim, result);
    switch (result) {
        case ePORT_OK:
            return {eSUCCESS,
                    "SIM PIN " + quoted + " " + PIN_OUTCOME_SUCCESS + " " + operation.verb + "d"};
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
        return {eERROR_DEVICE_CPIN_BAD_PASSWORD,
                failed + ", " + PIN_OUTCOME_REFUSED + " " + quoted};
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
    const sPinOutcome outcome = sendLock(port, sim, pin, operation);
    sim.s_outcome = outcome.text;
    return outcome.result;
}

eGeneralErrors requestLock(int port, sSimInfo& sim, const std::string& currentPin,
                           const sLockOperation& operation) {
    // If the lock is not known (-1), ask the modem.
    if (sim.i_pin_lock_enabled == (operation.enable ? 1 : 0)) {
        debug(eLOG_NOTICE, g_i_debugMode, "Notice: CPIN already %sd, cannot change",
              operation.verb);
        return eSUCCESS;
    }
    const eGeneralErrors result = setLock(port, sim, currentPin, operation);
    if (result == eERROR_DEVICE_CPIN_BAD_PASSWORD) takeOutPin(sim, currentPin);
    return result;
}

void afterChange(int port, sSimInfo& sim, const std::string& currentPin, const std::string& newPin,
                 eGeneralErrors result) {
    if (result == eSUCCESS) {
        sleepMicroseconds(AFTER_PIN_CHANGE_US);
        doGetSimStatus(port, sim);
        if (writeCurrentCpin(sim, newPin)) endPinChange();
        notePinWritten(sim, newPin, false);
        debug(eLOG_NOTICE, g_i_debugMode, "CPIN chnage success to %s", newPin.c_str());
        debug(eLOG_NOTICE, g_i_debugMode, "Device may require a reset after CPIN change");
    } else if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Warning: Device timeout while trying to change CPIN password to %s", newPin.c_str());
    } else if (result == eERROR_DEVICE_CPIN_BAD_PASSWORD) {
        debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot CHANGE CPIN from '%s' to '%s', %s",
              currentPin.c_str(), newPin.c_str(), PIN_OUTCOME_REFUSED);
        takeOutPin(sim, currentPin);
    } else {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Error: Cannot CHANGE CPIN from '%s' to '%s', returned an error.", currentPin.c_str(),
              newPin.c_str());
    }
}

eGeneralErrors requestChange(int port, sSimInfo& sim, const std::string& currentPin,
                             const std::string& newPin) {
    if (newPin == currentPin) {
        sim.s_outcome =
            "OLD/NEW CPINs '" + newPin + "' " + PIN_OUTCOME_NOTHING_TO_DO + ", ignoring";
        return eSUCCESS;
    }
    if (!verifyCpinFormat(newPin)) {
        sim.s_outcome =
            "Error: Cannot change SIM CPIN, New CPIN '" + newPin + "' is not a valid format.";
        return eERROR_DEVICE_CPIN_FORMAT_INVALID;
    }
    const eGeneralErrors result = changeCpinPassword(port, sim, currentPin, newPin);
    const bool isOldPinKept = result != eSUCCESS && result != eERROR_DEVICE_RESPONSE_TIMEOUT;
    if (isOldPinKept) endPinChange();
    afterChange(port, sim, currentPin, newPin, result);
    return result;
}

// A new PIN is on the disk elsewhere before its request is emptied.
bool noteRequest(const sSimInfo& sim, const std::string& request) {
    if (verifyCpinFormat(request) == 0) return true;
    const std::string currentPin = readCpinFile(sim.s_cpin_path);
    const bool isChange = verifyCpinFormat(currentPin) != 0 && request != currentPin;
    return !isChange || notePinChange({currentPin, request, attemptsOf(sim)});
}

eGeneralErrors applyRequest(int port, sSimInfo& sim, const std::string& request) {
    if (request.empty()) return eSUCCESS;
    sim.s_outcome.clear();
    if (!noteRequest(sim, request)) {
        sim.s_outcome = "Error: Cannot change SIM CPIN, the new CPIN cannot be noted in its folder";
        return eERROR_DEVICE_SET_CPIN_FAILED;
    }
    if (!clearRequest(g_Cp_MonitorNewCpinFile, sim.s_cpin_new_path)) {
        // Otherwise each start of the daemon would do it again, with a PIN that the SIM no longer
        // has.
        sim.s_outcome = "Error: Cannot change SIM CPIN, the file of the request cannot be emptied";
        return eERROR_DEVICE_SET_CPIN_FAILED;
    }
    const std::string currentPin = readCpinFile(sim.s_cpin_path);
    if (!verifyCpinFormat(currentPin)) {
        sim.s_outcome =
            "Error: Cannot change SIM CPIN, Current CPIN " + currentPin + " is not a valid format";
        takeOutPin(sim, currentPin);
        return eERROR_DEVICE_CPIN_FORMAT_INVALID;
    }
    if (request == PIN_REQUEST_DISABLE) return requestLock(port, sim, currentPin, DISABLE_LOCK);
    if (request == PIN_REQUEST_ENABLE) return requestLock(port, sim, currentPin, ENABLE_LOCK);
    return requestChange(port, sim, currentPin, request);
}

}  // namespace

eGeneralErrors manageCpin(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (!isChanged(g_Cp_MonitorNewCpinFile)) return eSUCCESS;
    markProcessing(g_Cp_MonitorCurrentCpinFile, true);
    const std::string request = readRequest(g_Cp_MonitorNewCpinFile, sim.s_cpin_new_path);
    const eGeneralErrors result = applyRequest(port, sim, request);
    if (!request.empty() && !sim.s_outcome.empty())
        debug(eLOG_NOTICE, g_i_debugMode, "%s", sim.s_outcome.c_str());
    markProcessing(g_Cp_MonitorCurrentCpinFile, false);
    return result;
}

eGeneralErrors changeCpinPassword(int port, sSimInfo& sim, const std::string& currentPin,
                                  const std::string& newPin) {
    traceEntry(eLOG_POLICY, __func__);
    sPinOutcome outcome;
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
        outcome = changePin(port, sim, currentPin, newPin);
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
