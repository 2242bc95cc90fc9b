#include "statemachine/state_machine.h"

#include <unistd.h>

#include <csignal>

#include "atcmd/catalogue.h"
#include "atcmd/port_state.h"
#include "config/config_file.h"
#include "config/config_look.h"
#include "config/config_reader.h"
#include "device/at_port.h"
#include "device/at_transaction.h"
#include "gps/gps.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/repeated_starts.h"
#include "include/service_manager.h"
#include "include/signal_flags.h"
#include "include/sleep.h"
#include "platform/include/error_sink.h"
#include "published/paths.h"
#include "sms/open_prompt.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "statemachine/bring_up.h"
#include "statemachine/cleanup.h"
#include "statemachine/data_connection.h"
#include "statemachine/data_session.h"
#include "statemachine/modem_control.h"
#include "statemachine/network_interface.h"
#include "statemachine/pin_record.h"
#include "statemachine/polling.h"
#include "statemachine/service_status.h"
#include "statemachine/sim_pin.h"
#include "statemachine/status_files.h"
#include "statemachine/status_led.h"
#include "statemachine/timers.h"

namespace {

constexpr unsigned PASS_SLEEP_US = 500000;
constexpr unsigned NO_PORT_SLEEP_US = 2000000;
constexpr int ERRORS_TO_RESTART = 9;
constexpr int RESTARTS_TO_RESET = 3;

enum eModemState : int {
    eMODEM_RESTART = 0,
    eMODEM_SETUP = 1,
    eMODEM_REGISTERED = 2,
    eMODEM_UNUSED = 3,
    eMODEM_CONNECTED = 4,
};

struct sMachine {
    int outerState = eOUTER_RUNNING;
    eModemState modemState = eMODEM_SETUP;
    int handle = -1;
    sDeviceInfo device;
    sConfigFileOpts config;
    cConfigReader reader;
    std::string configFile;
    unsigned configLooks = 0;

    int openAttempts = 0;
    int timeoutCount = 0;
    int errorCount = 0;    // since the last set-up that succeeded
    int restartCount = 0;  // in the life of the process
    bool deviceReachable = false;
    eGeneralErrors lastResult = eSUCCESS;  // of this pass

    // A set-up that ended without a usable SIM left APN, radio and reports as they were, so another
    // one is due when the SIM comes; also when a poll says that the SIM was just unlocked.
    bool setupDue = false;
    bool setupWithoutSim = false;
};

void setModemState(sMachine& machine, eModemState state) {
    if (machine.modemState == state) return;
    debug(eLOG_STATE, g_i_debugMode, "Modem state %d -> %d", machine.modemState, state);
    machine.modemState = state;
}

bool isSimReady(const sMachine& machine) {
    return machine.device.sim.i_lock_class == eSIM_READY;
}

void publish(sMachine& machine, bool force) {
    writeOutStatusFiles(machine.device, machine.config, force);
    notifyStatus(describeService(machine.device, machine.handle != -1,
                                 machine.modemState == eMODEM_CONNECTED,
                                 g_Cp_connectedTimer->GetElapsedTime()));
}

unsigned readConfiguration(sMachine& machine) {
    const unsigned result = machine.reader.readConfig(machine.config);
    g_i_debugMode = machine.config.debugMode;
    publishConfigLook(
        configLookPath(g_S_options.s_port),
        {getpid(), ++machine.configLooks, static_cast<eConfigResult>(result), machine.configFile});
    return result;
}

void restartClockSync() {
    g_Cp_dateTimeSyncTimer->SetTimeout(DATE_TIME_SYNC_S);
    g_Cp_dateTimeSyncTimer->Stop();
}

void logTimeout(const char* operation) {
    debug(eLOG_MACHINE_ERROR, g_i_debugMode, "%s(): Error: %s() returned TIMEOUT '%d'",
          "runStateMachine", operation, eERROR_DEVICE_RESPONSE_TIMEOUT);
}

// ---- start ----------------------------------------------------------------------------------

void installSignalHandlers() {
    signal(SIGINT, signalHandlerSIGINT);
    signal(SIGHUP, signalHandlerSIGHUP);
    signal(SIGTERM, signalHandlerSIGTERM);
    signal(SIGUSR2, signalHandlerSIGUSR2);
    signal(SIGUSR1, signalHandlerSIGUSR1);
}

void prepareDeviceRecord(sDeviceInfo& device) {
    const std::string& slot = g_S_options.s_port;
    resetDeviceInfo(device, true);
    device.sim.s_cpin_path = pinFilePath(slot);
    device.sim.s_cpin_new_path = pinRequestPath(slot);
    device.sim.s_puk_path = pukFilePath(slot);
}

void prepare(sMachine& machine) {
    installSignalHandlers();
    g_que_testAtResponses = {};
    setErrorSink(notice);
    machine.configFile = chooseConfigFile(g_S_options.s_port, "");
    machine.reader.init(machine.configFile, g_i_debugMode);
    readConfiguration(machine);
    createTimers();
    sweepTemporaryFiles();
    initSMS(g_s_root_sms_path);
    setupVariableMaps();
    prepareDeviceRecord(machine.device);
    createCpinMonitors(machine.device.sim);
    if (getDeviceTestMode()) machine.outerState = eOUTER_TEST_MODE;
}

// ---- modem states ---------------------------------------------------------------------------

void countError(sMachine& machine, const char* operation, eGeneralErrors result) {
    debug(eLOG_MACHINE_ERROR, g_i_debugMode, "%s(): Error: %s() returned '%d'", "runStateMachine",
          operation, result);
    ++machine.errorCount;
}

// What a set-up that is not complete means. Results that only wait for the SIM are no errors.
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
    disconnectNetwork(machine.handle, machine.device, machine.config);
    setModemState(machine, eMODEM_REGISTERED);
    machine.timeoutCount = 0;
    machine.errorCount = 0;
}

void runSetup(sMachine& machine) {
    g_C_deviceMissingTimer.Stop();
    g_C_networkKeepAliveTimer.Stop();
    g_C_netConDelayTimer.Stop();
    g_Cp_connectedTimer->Stop();
    const eGeneralErrors result = setupModem(machine.handle, machine.device, machine.config);
    machine.lastResult = result;
    if (result == eERROR_DEVICE_REQUIRES_RESET || result == eERROR_DEVICE_IN_TEST_MODE) {
        machine.outerState = eOUTER_EXIT_RESET;
        return;
    }
    if (result == eERROR_DEVICE_SHOULD_RESET) {
        machine.outerState = eOUTER_EXIT_AS_IT_IS;
        return;
    }
    if (result == eSUCCESS)
        enterRegistered(machine);
    else
        judgeSetup(machine, result);
    publish(machine, false);
}

// Polls and judges the result. True when the pass may go on to the data session.
bool poll(sMachine& machine) {
    const cRepeatedRun run(eWORK_POLL);
    const eGeneralErrors result = pollDevice(machine.handle, machine.device, machine.config);
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
        machine.outerState = eOUTER_EXIT_RESET;
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
              "%s(): startDataSession() waiting on Network Delay Timer", "runStateMachine");
    } else if (result == eERROR_DEVICE_PDP_CONTEXT_ACTIVATE_FAILURE) {
        debug(eLOG_NOTICE, g_i_debugMode, "%s(): startDataSession() PDP Context Activation failure",
              "runStateMachine");
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
        machine.outerState = eOUTER_EXIT_POWER_OFF;
        return;
    }
    if (!checkNetworkRegistration(machine.device, machine.config)) return;
    machine.lastResult =
        maybeStartDataSession(machine.handle, machine.device, machine.config, g_C_netConDelayTimer);
    judgeSessionStart(machine, machine.lastResult);
    if (machine.lastResult == eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING) run.nothingTried();
    publish(machine, false);
}

void disconnectTo(sMachine& machine, eModemState state) {
    disconnectNetwork(machine.handle, machine.device, machine.config);
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
        disconnectNetwork(machine.handle, machine.device, machine.config);
        machine.outerState = eOUTER_EXIT_POWER_OFF;
    } else if (isDataConnectionGood(machine.handle, machine.device, machine.config)) {
        networkKeepAlive();
    } else {
        // A set-up that is due waits for the session to end: a SIM that was away for one poll must
        // not tear down a good one.
        disconnectTo(machine, machine.setupDue ? eMODEM_SETUP : eMODEM_REGISTERED);
    }
}

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

// ---- one pass -------------------------------------------------------------------------------

bool isExitRequested() {
    if (!b_got_sigterm && !b_got_sigint && !b_got_sighup) return false;
    debug(eLOG_NOTICE, g_i_debugMode, "Received SIGTERM/SIGINT/SIGHUP");
    return true;
}

// The modem may have been away: its SIM may be locked when it comes back.
void closeLostPort(sMachine& machine) {
    closeDevice(machine.handle);
    notePinOutage();
}

// Opens or tests the port. True when it can be used in this pass.
bool checkPort(sMachine& machine) {
    const std::string& device = g_S_options.s_device;
    const int state = getPortState(device, machine.handle);
    if (state == ePORT_STATE_GOOD) {
        machine.openAttempts = 0;
        debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Port '%s' is open and good with FH %d",
              "runStateMachine", device.c_str(), machine.handle);
        return true;
    }
    setModemState(machine, eMODEM_SETUP);
    if (state == ePORT_STATE_CLOSED) {
        debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Port '%s' closed", "runStateMachine",
              device.c_str());
        return false;
    }
    if (state == ePORT_STATE_MISSING) {
        debug(eLOG_STATE, g_i_debugMode, "Device handle missing");
    } else {
        ++machine.openAttempts;
        debug(eLOG_STATE, g_i_debugMode, "Error opening port '%s', attempt %d", device.c_str(),
              machine.openAttempts);
    }
    closeLostPort(machine);
    return false;
}

bool isFirmwareUpdateRequested() {
    static const std::string MESSAGE =
        "Firmware file trigger is present,\nresetting device to start firmware update\n";
    if (!checkFirmwareUpdate(SHARED_FOLDER)) return false;
    debug(eLOG_NOTICE, g_i_debugMode, "%s", MESSAGE.c_str());
    bool append = false;
    updateStatusFile(firmwareStatusPath(g_S_options.s_port), MESSAGE, append);
    return true;
}

void handleReloadSignals(sMachine& machine) {
    const cSingleEvent event;
    if (b_got_sigusr2) {
        debug(eLOG_NOTICE, g_i_debugMode, "Received SIGUSR2");
        b_got_sigusr2 = false;
        if (readConfiguration(machine) == eCONFIG_APPLIED) {
            debug(eLOG_NOTICE, g_i_debugMode, "Received USR2 and config changed");
            setModemState(machine, eMODEM_SETUP);
            restartClockSync();
        }
    }
    // While the clock is not to be set the signal waits.
    if (b_got_sigusr1 && machine.config.syncTime) {
        debug(eLOG_NOTICE, g_i_debugMode, "Received SIGUSR1 : stop sync timer");
        b_got_sigusr1 = false;
        restartClockSync();
    }
}

// Closes the port of a modem that is silent or keeps failing; one that has failed too often leaves
// the loop to be reset.
void endPass(sMachine& machine) {
    // What is known of a modem that was pulled out is no longer true, whatever closes its port.
    const bool isLost = isPortLost(machine.handle);
    if (isLost) resetDeviceInfo(machine.device, false);
    publish(machine, isLost);
    const bool isSilent = machine.lastResult == eERROR_DEVICE_RESPONSE_TIMEOUT;
    const bool isFailing = machine.errorCount > ERRORS_TO_RESTART;
    if (isSilent) {
        debug(eLOG_NOTICE, g_i_debugMode, "Device not responding, closing port");
        machine.deviceReachable = false;
    }
    if (isFailing) {
        ++machine.restartCount;
        debug(eLOG_NOTICE, g_i_debugMode,
              "Device responded with errors %d times, closing port and restarting",
              machine.errorCount);
    }
    if (isSilent || isFailing) closeLostPort(machine);
    if (machine.restartCount > RESTARTS_TO_RESET) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Device responded with errors after %d attempts, requires reset", machine.errorCount);
        machine.outerState = eOUTER_EXIT_RESET;
        return;
    }
    sleepMicroseconds(PASS_SLEEP_US);
}

void runPassWithPort(sMachine& machine) {
    endLeftPrompt(machine.handle);
    publish(machine, false);
    handleReloadSignals(machine);
    runModemState(machine);
    endPass(machine);
}

void runPassWithoutPort(sMachine& machine) {
    cTimer& timer = g_C_deviceMissingTimer;
    // Started once an outage: only a set-up stops it.
    if (!timer.IsTimerEnabled()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Unable to open device port, starting %d minute timer",
              static_cast<int>(timer.GetTimeout() / 60));
        timer.Start();
    }
    if (timer.IsTimerDone()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Device missing after %d minutes, resetting",
              static_cast<int>(timer.GetTimeout() / 60));
        machine.deviceReachable = false;
        machine.outerState = eOUTER_EXIT_RESET;
    }
    resetDeviceInfo(machine.device, false);
    publish(machine, true);
    sleepMicroseconds(NO_PORT_SLEEP_US);
}

void runPass(sMachine& machine) {
    notifyAlive();
    machine.deviceReachable = true;
    machine.lastResult = eSUCCESS;
    if (isExitRequested()) {
        machine.outerState = eOUTER_EXIT;
        return;
    }
    const cRepeatedRun run(eWORK_PASS);
    const bool portGood = checkPort(machine);
    if (isFirmwareUpdateRequested()) {
        machine.outerState = eOUTER_EXIT_RESET;
        return;
    }
    if (portGood)
        runPassWithPort(machine);
    else
        runPassWithoutPort(machine);
}

// ---- exit -----------------------------------------------------------------------------------

// The service manager starts the daemon again after these, and after no other end that it chose.
bool isStartedAgain(int outerState) {
    return outerState == eOUTER_EXIT_RESET || outerState == eOUTER_EXIT_AS_IT_IS;
}

int leave(sMachine& machine) {
    notifyStopping();
    machine.device.b_shutting_down = true;
    disconnectNetwork(machine.handle, machine.device, machine.config);
    if (machine.outerState != eOUTER_EXIT_AS_IT_IS && machine.deviceReachable) {
        maybeStopGps(machine.device.modem);
        setStatusLed(machine.handle, eSTAT_LED_ACTION_OFF, false);
    }
    resetDeviceInfo(machine.device, false);
    g_Cp_connectedTimer->Stop();
    publish(machine, true);
    cleanup();
    if (machine.outerState == eOUTER_EXIT_POWER_OFF) powerOffDevice();
    if (machine.outerState == eOUTER_EXIT_RESET) resetDevice(machine.handle);
    closeDevice(machine.handle);
    debug(eLOG_NOTICE, g_i_debugMode, "Exiting");
    if (isStartedAgain(machine.outerState)) keepForNextStart();
    return machine.outerState;
}

}  // namespace

int runStateMachine() {
    sMachine machine;
    prepare(machine);
    notifyReady();
    while (machine.outerState == eOUTER_RUNNING)
        runPass(machine);
    return leave(machine);
}
