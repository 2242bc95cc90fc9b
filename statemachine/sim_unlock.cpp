#include "atcmd/sim_commands.h"
#include "include/debug.h"
#include "include/sleep.h"
#include "statemachine/sim_pin.h"
#include "statemachine/sim_pin_files.h"
#include "statemachine/sim_status.h"
#include "statemachine/tried_pin.h"

namespace {

constexpr unsigned AFTER_PUK_UNLOCK_US = 1000000;

struct sSimPinState {
    bool rearmed = false;    // the modem was away since the PIN was used
    std::string refusedPin;  // of the last unlock that failed
};

sSimPinState g_simPinState;

const sPinOutcome ALREADY_READY = {eSUCCESS, "Error: Cannot unlock SIM, already in a ready state"};

bool isBadPassword(ePortReturn result) {
    return result == CME_INCORRECT_PASSWORD || result == CME_SIM_PUK_REQUIRED;
}

// An earlier run of the daemon has tried this PIN, and it cost an attempt.
bool hasFailedBefore(const sSimInfo& sim) {
    return hasLostAttempt(sim) && isTriedCpin(sim);
}

// Written since its last use. What an earlier run of the daemon has tried without learning the
// outcome was not: a start is then as the end of an outage, unless the SIM tells the outcome.
bool isCurrentCpinNew(const sSimInfo& sim) {
    if (!isChanged(g_Cp_MonitorCurrentCpinFile)) return false;
    if (!isTriedCpin(sim) || hasLostAttempt(sim)) return true;
    g_simPinState.rearmed = true;
    return false;
}

// A PIN that the re-arming may use: there is one, it did not fail, and the SIM says that it has
// lost no attempt.
bool mayUseCpinAgain(const sSimInfo& sim) {
    if (!g_simPinState.rearmed || !hasAllAttempts(sim)) return false;
    const std::string pin = readCpinFile(sim.s_cpin_path);
    return !pin.empty() && pin != g_simPinState.refusedPin;
}

sPinOutcome unlockWithPin(int port, const sSimInfo& sim, const std::string& pin) {
    const std::string failed = "Error: Unable to unlock SIM PIN, ";
    noteTriedCpin(sim);
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

sPinOutcome tryUnlockPin(int port, const sSimInfo& sim) {
    const std::string pin = readCpinFile(sim.s_cpin_path);
    if (verifyCpinFormat(pin) && hasFailedBefore(sim)) {
        clearCpinFile(sim.s_cpin_path);
        clearCpinFile(sim.s_cpin_new_path);
        return {eERROR_DEVICE_ENABLE_CPIN_FAILED,
                "Error: Unable to unlock SIM PIN, it was tried before and cost an attempt"};
    }
    if (verifyCpinFormat(pin)) {
        sPinOutcome outcome = unlockWithPin(port, sim, pin);
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

// A PUK that stays in its file would be tried at each start of the daemon, until the SIM is lost.
sPinOutcome checkPukAndPin(const std::string& puk, const std::string& newPin, bool isTakenOut) {
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
    if (!isTakenOut)
        return {eERROR_DEVICE_UNLOCK_PUK_FAILED,
                "Error: Cannot unlock SIM PUK, its file cannot be emptied"};
    return {eSUCCESS, ""};
}

// The refusal comes before the time-out and takes every CME number with it, so that a wrong PUK
// reads as an error that was returned.
sPinOutcome unlockWithPuk(int port, sSimInfo& sim, const std::string& puk,
                          const std::string& newPin) {
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

}  // namespace

void resetSimPinState() {
    g_simPinState = {};
    resetTriedPinState();
    g_Cp_MonitorCurrentCpinFile.reset();
    g_Cp_MonitorNewCpinFile.reset();
    g_Cp_MonitorPukFile.reset();
}

void rearmCurrentCpin() {
    g_simPinState.rearmed = true;
}

void disarmCurrentCpin(const sSimInfo& sim) {
    g_simPinState.rearmed = false;
    forgetTriedCpin(sim);
}

eGeneralErrors maybeUnlockSimPin(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (sim.i_lock_class == eSIM_READY) return leaveOutcome(sim, ALREADY_READY);
    if (sim.i_lock_class != eSIM_PIN_REQUIRED) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Warning: SIM is not CPIN locked, cannot unlock",
              __func__);
        return eERROR_DEVICE_NOT_CPIN_LOCKED;
    }
    if (!isCurrentCpinNew(sim) && !mayUseCpinAgain(sim)) {
        debug(eLOG_POLICY, g_i_debugMode,
              "%s(): Warning: SIM locked, but CPIN file has not changed", __func__);
        return eFAILURE;
    }
    markProcessing(g_Cp_MonitorCurrentCpinFile, true);
    g_simPinState.rearmed = false;
    const eGeneralErrors result = leaveOutcome(sim, tryUnlockPin(port, sim));
    markProcessing(g_Cp_MonitorCurrentCpinFile, false);
    return result;
}

eGeneralErrors maybeUnlockSimPuk(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (sim.i_lock_class == eSIM_READY) return leaveOutcome(sim, ALREADY_READY);
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
    const bool isTakenOut = clearCpinFile(sim.s_puk_path);
    clearCpinFile(sim.s_cpin_new_path);

    sPinOutcome outcome = checkPukAndPin(puk, newPin, isTakenOut);
    if (outcome.result == eSUCCESS) outcome = unlockWithPuk(port, sim, puk, newPin);
    leaveOutcome(sim, outcome);
    markProcessing(g_Cp_MonitorPukFile, false);
    markProcessing(g_Cp_MonitorNewCpinFile, false);
    return outcome.result;
}
