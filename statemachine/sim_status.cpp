#include "statemachine/sim_status.h"

#include "include/debug.h"
#include "include/device_records.h"
#include "statemachine/modem_control.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin_requests.h"
#include "statemachine/sim_query.h"
#include "statemachine/sim_unlock.h"
#include "statemachine/timers.h"

namespace {

eGeneralErrors simReady(int port, sSimInfo& sim) {
    notePinSimReady(sim);
    noteSimOpened(sim);
    if (!g_Cp_simMissingTimer->IsTimerEnabled()) return manageCpin(port, sim);
    debug(eLOG_NOTICE, g_i_debugMode, "SIM is Ready, stopping SIM missing timer");
    g_Cp_simMissingTimer->Stop();
    return eSUCCESS_DEVICE_UNLOCK;
}

eGeneralErrors simMissing() {
    cTimer& timer = *g_Cp_simMissingTimer;
    if (!timer.IsTimerEnabled()) {
        // The text says ten, whatever the length of the timer.
        constexpr int MINUTES_LOGGED = 10;
        debug(eLOG_NOTICE, g_i_debugMode, "Notice: SIM is missing, starting timer (%d minutes)",
              MINUTES_LOGGED);
        timer.Start();
        return eSUCCESS;
    }
    if (timer.IsTimerRunning()) return eSUCCESS;
    debug(eLOG_NOTICE, g_i_debugMode, "SIM not detected after %d minutes, device requires reset",
          static_cast<int>(timer.GetElapsedTime() / 60));
    return eERROR_DEVICE_REQUIRES_RESET;
}

eGeneralErrors afterUnlock(int port, sSimInfo& sim, eGeneralErrors result) {
    if (result != eSUCCESS) return result;
    waitModemReady(port);
    doGetSimStatus(port, sim);
    return eSUCCESS_DEVICE_UNLOCK;
}

}  // namespace

eGeneralErrors getSimStatus(int port, sSimInfo& sim) {
    traceEntry(eLOG_POLICY, __func__);
    // Asked twice: right after a SIM was inserted, only the second answer is right.
    eGeneralErrors asked = mapPortResult(getDeviceSimInfo(port, sim), eSUCCESS);
    if (asked == eSUCCESS) asked = mapPortResult(doGetSimStatus(port, sim), eSUCCESS);
    if (asked != eSUCCESS) return asked;
    switch (sim.i_lock_class) {
        case eSIM_READY:
            return simReady(port, sim);
        case eSIM_MISSING:
            return simMissing();
        case eSIM_PIN_REQUIRED:
            return afterUnlock(port, sim, maybeUnlockSimPin(port, sim));
        case eSIM_PUK_REQUIRED:
            return afterUnlock(port, sim, maybeUnlockSimPuk(port, sim));
        default:
            return eSUCCESS;
    }
}
