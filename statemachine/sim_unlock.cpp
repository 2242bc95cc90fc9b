#include "statemachine/sim_unlock.h"

#include "atcmd/sim_commands.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/sleep.h"
#include "published/outcome_texts.h"
#include "statemachine/pin_change.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin_files.h"
#include "statemachine/sim_query.h"

namespace {

constexpr unsigned AFTER_PUK_UNLOCK_US = 1000000;

const sPinOutcome ALREADY_READY = {eSUCCESS, "Error: Cannot unlock SIM, already in a ready state"};

// what: "PIN" or "PUK".
std::string unlocked(const char* what) {
    return std::string("SIM ") + what + " " + PIN_OUTCOME_SUCCESS + " unlocked";
}

// A request that was written for a wrong PIN cannot be carried out.
void dropRequest(const sSimInfo& sim, const sFileStamp& asItWas) {
    if (fileStamp(sim.s_cpin_new_path) == asItWas) clearCpinFile(sim.s_cpin_new_path);
}

sPinOutcome unlockWithPin(int port, const sSimInfo& sim, const std::string& pin) {
    const std::string failed = "Error: Unable to unlock SIM PIN, ";
    const ePinNote note = notePinSent(sim, pin, true);
    if (note == ePinNote::FILE_CHANGED) return {eFAILURE, ""};
    if (note == ePinNote::NOT_STORED)
        return {eFAILURE,
                "Error: SIM PIN not sent, it cannot be noted in the key-value store; write the PIN "
                "file again to use it"};
    const sFileStamp request = fileStamp(sim.s_cpin_new_path);
    const ePortReturn result = unlockCpin(port, pin);
    notePinAnswer(sim, result);
    if (result == ePORT_OK) return {eSUCCESS, unlocked("PIN")};
    if (result == ePORT_ERROR) return {eERROR_DEVICE_UNLOCK_CPIN_FAILED, failed + "returned error"};
    if (result == ePORT_NO_FINAL_RESULT)
        return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "command time out"};
    if (!isBadPassword(result)) return {eERROR_DEVICE_ENABLE_CPIN_FAILED, failed + cmeText(result)};
    takeOutPin(sim, pin);
    dropRequest(sim, request);
    return {eERROR_DEVICE_ENABLE_CPIN_FAILED, failed + PIN_OUTCOME_REFUSED + " '" + pin + "'"};
}

void settlePinChange(const sSimInfo& sim, const sPinChange& change, bool isWaitedFor) {
    if (writeCurrentCpin(sim, change.newPin)) endPinChange();
    notePinWritten(sim, change.newPin, isWaitedFor);
}

// Sends the new PIN of a change whose outcome is not known.
sPinOutcome tryNewPin(int port, const sSimInfo& sim, const sPinChange& change) {
    const std::string failed = "Error: Unable to unlock SIM PIN, ";
    const ePortReturn result = unlockCpin(port, change.newPin);
    noteNewPinAnswer(result);
    if (result == ePORT_OK) {
        settlePinChange(sim, change, true);
        return {eSUCCESS, unlocked("PIN")};
    }
    if (isBadPassword(result)) {
        notePinOfChangeRefused();
        requestPinChangeAgain(sim, change);
    }
    if (result == ePORT_ERROR) return {eERROR_DEVICE_UNLOCK_CPIN_FAILED, failed + "returned error"};
    if (result == ePORT_NO_FINAL_RESULT)
        return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "command time out"};
    return {eERROR_DEVICE_ENABLE_CPIN_FAILED, failed + cmeText(result)};
}

sPinOutcome tryUnlockPin(int port, const sSimInfo& sim) {
    const std::string pin = readCpinFile(sim.s_cpin_path);
    if (verifyCpinFormat(pin)) return unlockWithPin(port, sim, pin);
    takeOutPin(sim, pin);
    return {eERROR_DEVICE_CPIN_FORMAT_INVALID,
            pin.empty() ? "Error: Cannot unlock SIM, CPIN is not set"
                        : "Error: Cannot unlock SIM with CPIN '" + pin + "', not a valid format"};
}

// Reports why nothing was sent, once: it is the same on each poll.
eGeneralErrors leaveRefusal(sSimInfo& sim, const std::string& text) {
    if (!text.empty() && text != sim.s_outcome) leaveOutcome(sim, {eFAILURE, text});
    return eFAILURE;
}

eGeneralErrors refusePin(sSimInfo& sim, ePinDecision decision, const sPinSituation& situation) {
    debug(eLOG_POLICY, g_i_debugMode, "%s(): Warning: SIM locked, but CPIN file has not changed",
          "maybeUnlockSimPin");
    // The outcome of the failed sending says more.
    if (decision == ePinDecision::FAILED && !sim.s_outcome.empty()) return eFAILURE;
    return leaveRefusal(sim, pinRefusalText(decision, situation));
}

// If a PUK stayed in its file, each start of the daemon would try it, until the SIM is blocked for
// good.
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

// The test for a refusal comes first and includes every CME number, so a wrong PUK is reported as
// "returned error".
sPinOutcome unlockWithPuk(int port, sSimInfo& sim, const std::string& puk,
                          const std::string& newPin) {
    const std::string failed = "Error: Unable to unlock SIM PUK, ";
    const ePortReturn result = unlockPuk(port, puk, newPin);
    if (result == ePORT_OK) {
        if (writeCurrentCpin(sim, newPin)) endPinChange();
        sleepMicroseconds(AFTER_PUK_UNLOCK_US);
        doGetSimStatus(port, sim);
        notePinWritten(sim, newPin, true);
        return {eSUCCESS, unlocked("PUK")};
    }
    if (isPortError(result)) return {eERROR_DEVICE_UNLOCK_PUK_FAILED, failed + "returned error"};
    if (result == ePORT_NO_FINAL_RESULT)
        return {eERROR_DEVICE_RESPONSE_TIMEOUT, failed + "command time out"};
    return {eERROR_DEVICE_UNLOCK_PUK_FAILED, failed + cmeText(result)};
}

}  // namespace

void noteSimOpened(const sSimInfo& sim) {
    sPinChange change;
    if (findAcceptedPinChange(sim, change)) settlePinChange(sim, change, false);
}

eGeneralErrors maybeUnlockSimPin(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    if (sim.i_lock_class == eSIM_READY) return leaveOutcome(sim, ALREADY_READY);
    if (sim.i_lock_class != eSIM_PIN_REQUIRED) {
        debug(eLOG_POLICY, g_i_debugMode, "%s(): Warning: SIM is not CPIN locked, cannot unlock",
              __func__);
        return eERROR_DEVICE_NOT_CPIN_LOCKED;
    }
    sPinChange change;
    if (findPinChange(sim, change)) {
        if (noteNewPinSent(change, attemptsOf(sim)))
            return leaveOutcome(sim, tryNewPin(port, sim, change));
        requestPinChangeAgain(sim, change);
    }
    const sPinSituation situation = pinSituation(sim);
    const ePinDecision decision = decidePin(situation);
    if (decision != ePinDecision::SEND) return refusePin(sim, decision, situation);
    markProcessing(g_Cp_MonitorCurrentCpinFile, true);
    const sPinOutcome outcome = tryUnlockPin(port, sim);
    markProcessing(g_Cp_MonitorCurrentCpinFile, false);
    if (outcome.result == eFAILURE) return leaveRefusal(sim, outcome.text);
    return leaveOutcome(sim, outcome);
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
    // The new PIN belongs to the PUK. It must not become a request when the SIM is ready.
    const std::string puk = readRequest(g_Cp_MonitorPukFile, sim.s_puk_path);
    const std::string newPin = readRequest(g_Cp_MonitorNewCpinFile, sim.s_cpin_new_path);
    if (verifyCpinFormat(newPin) != 0) notePinChange({readCpinFile(sim.s_cpin_path), newPin, 0});
    const bool isTakenOut = clearRequest(g_Cp_MonitorPukFile, sim.s_puk_path);
    clearRequest(g_Cp_MonitorNewCpinFile, sim.s_cpin_new_path);

    sPinOutcome outcome = checkPukAndPin(puk, newPin, isTakenOut);
    if (outcome.result == eSUCCESS) outcome = unlockWithPuk(port, sim, puk, newPin);
    if (outcome.result != eSUCCESS && outcome.result != eERROR_DEVICE_RESPONSE_TIMEOUT)
        endPinChange();
    return leaveOutcome(sim, outcome);
}
