#include "statemachine/modem_states.h"

#include "include/debug.h"
#include "include/repeated_notices.h"
#include "include/repeated_starts.h"
#include "statemachine/bring_up.h"
#include "statemachine/data_connection.h"
#include "statemachine/data_session.h"
#include "statemachine/network_interface.h"
#include "statemachine/polling.h"
#include "statemachine/timers.h"

namespace {

bool isSimReady(const sMachine& machine) {
    return machine.device.sim.i_lock_class == eSIM_READY;
}

void logTimeout(const char* operation) {
    debug(eLOG_MACHINE_ERROR, g_i_debugMode, "%s(): Error: %s() returned TIMEOUT '%d'", MAIN_LOOP,
          operation, eERROR_DEVICE_RESPONSE_TIMEOUT);
}

void countError(sMachine& machine, const char* operation, eGeneralErrors result) {
    debug(eLOG_MACHINE_ERROR, g_i_debugMode, "%s(): Error: %s() returned '%d'", MAIN_LOOP,
          operation, result);
    ++machine.errorCount;
}

// Judges a set-up that is not complete. A set-up that only waits for the SIM is not an error.
void judgeSetup(sMachine& machine, eGeneralErrors result) {
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        logTimeout("setupModem");
        ++machine.timeoutCount;
        return;
    }
    const bool waitsForSim = result == eSUCCESS_DEVICE_UNLOCK ||
                             result == eERROR_DEVICE_SIM_LOCKED_CNUM || !isSimReady(machine);
    if (result == eERROR_DEVICE_RESPONSE_ERROR || !waitsForSim)
        countError(machine, "setupModem", result);
}

void enterRegistered(sMachine& machine) {
    machine.setupWithoutSim = !isSimReady(machine);
    machine.setupDue = false;
    disconnectNetwork(machine.port, machine.device, machine.config);
    setModemState(machine, eMODEM_REGISTERED);
    machine.timeoutCount = 0;
    machine.errorCount = 0;
}

void runSetup(sMachine& machine) {
    g_C_deviceMissingTimer.Stop();
    g_C_networkKeepAliveTimer.Stop();
    g_C_netConDelayTimer.Stop();
    g_Cp_connectedTimer->Stop();
    const eGeneralErrors result = setupModem(machine.port, machine.device, machine.config);
    machine.lastResult = result;
    if (result == eERROR_DEVICE_REQUIRES_RESET || result == eERROR_DEVICE_IN_TEST_MODE) {
        setOuterState(machine, eOUTER_EXIT_RESET);
        return;
    }
    if (result == eERROR_DEVICE_SHOULD_RESET) {
        setOuterState(machine, eOUTER_EXIT_AS_IT_IS);
        return;
    }
    if (result == eSUCCESS)
        enterRegistered(machine);
    else
        judgeSetup(machine, result);
    publish(machine, false);
}

// Polls the modem and judges the result. True when the pass may go on to the data session.
bool poll(sMachine& machine) {
    const cRepeatedRun run(eWORK_POLL);
    const eGeneralErrors result = pollDevice(machine.port, machine.device, machine.config);
    machine.lastResult = result;
    if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        logTimeout("pollDevice");
        ++machine.timeoutCount;
        return false;
    }
    if (result == eERROR_DEVICE_RESPONSE_ERROR) {
        countError(machine, "pollDevice", result);
        return false;
    }
    if (result == eERROR_DEVICE_REQUIRES_RESET) {
        setOuterState(machine, eOUTER_EXIT_RESET);
        return false;
    }
    machine.timeoutCount = 0;
    if (result == eSUCCESS_DEVICE_UNLOCK || (machine.setupWithoutSim && isSimReady(machine)))
        machine.setupDue = true;
    return true;
}

void judgeSessionStart(sMachine& machine, eGeneralErrors result) {
    if (result == eSUCCESS) {
        g_Cp_connectedTimer->Start();
        setModemState(machine, eMODEM_CONNECTED);
        machine.timeoutCount = 0;
    } else if (result == eERROR_DEVICE_RESPONSE_TIMEOUT) {
        logTimeout("startDataSession");
        ++machine.timeoutCount;
    } else if (result == eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING) {
        debug(eLOG_MACHINE_ERROR, g_i_debugMode,
              "%s(): startDataSession() waiting on Network Delay Timer", MAIN_LOOP);
    } else if (result == eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): startDataSession() PDP Context Activation failure",
              MAIN_LOOP);
    } else {
        ++machine.errorCount;
        debug(eLOG_NOTICE, g_i_debugMode, "Error: startDataSession() returned '%d'", result);
    }
}

void runRegistered(sMachine& machine) {
    g_Cp_connectedTimer->Stop();
    g_C_checkRegTimer.Stop();
    if (!poll(machine) || !isSimReady(machine)) return;
    if (machine.setupDue) {
        setModemState(machine, eMODEM_SETUP);
        return;
    }
    cRepeatedRun run(eWORK_SESSION);
    const int allowed = isDataConnectionAllowed(machine.config, CELL_OVERRIDE_PATH);
    if (allowed == DATA_CONNECTION_NOT_NOW) return;
    if (allowed == DATA_CONNECTION_POWER_OFF) {
        setOuterState(machine, eOUTER_EXIT_POWER_OFF);
        return;
    }
    if (!checkNetworkRegistration(machine.device, machine.config)) return;
    machine.lastResult =
        maybeStartDataSession(machine.port, machine.device, machine.config, g_C_netConDelayTimer);
    judgeSessionStart(machine, machine.lastResult);
    if (machine.lastResult == eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING) run.nothingTried();
    publish(machine, false);
}

void disconnectTo(sMachine& machine, eModemState state) {
    disconnectNetwork(machine.port, machine.device, machine.config);
    setModemState(machine, state);
}

void runConnected(sMachine& machine) {
    if (!poll(machine)) return;
    if (g_Cp_connectedTimer->GetElapsedTime() >= WORKING_AFTER_S) noteWorkingRun();
    const cRepeatedRun run(eWORK_SESSION);
    const int allowed = isDataConnectionAllowed(machine.config, CELL_OVERRIDE_PATH);
    if (allowed == DATA_CONNECTION_NOT_NOW) {
        disconnectTo(machine, eMODEM_SETUP);
    } else if (allowed == DATA_CONNECTION_POWER_OFF) {
        disconnectNetwork(machine.port, machine.device, machine.config);
        setOuterState(machine, eOUTER_EXIT_POWER_OFF);
    } else if (isDataConnectionGood(machine.port, machine.device, machine.config)) {
        networkKeepAlive();
    } else {
        // A set-up that is due waits for the end of the session: a SIM that was missing in one poll
        // must not end a good session.
        disconnectTo(machine, machine.setupDue ? eMODEM_SETUP : eMODEM_REGISTERED);
    }
}

}  // namespace

void runModemState(sMachine& machine) {
    switch (machine.modemState) {
        case eMODEM_RESTART:
            setModemState(machine, eMODEM_SETUP);
            break;
        case eMODEM_SETUP:
            runSetup(machine);
            break;
        case eMODEM_REGISTERED:
            runRegistered(machine);
            break;
        case eMODEM_UNUSED:
            break;
        case eMODEM_CONNECTED:
            runConnected(machine);
            break;
    }
}
