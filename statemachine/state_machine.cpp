#include "statemachine/state_machine.h"

#include "atcmd/port_state.h"
#include "config/config_reader.h"
#include "device/at_port.h"
#include "gps/gps.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/service_manager.h"
#include "include/signal_flags.h"
#include "include/sleep.h"
#include "published/paths.h"
#include "sms/open_prompt.h"
#include "statemachine/machine.h"
#include "statemachine/modem_control.h"
#include "statemachine/modem_states.h"
#include "statemachine/pin_record.h"
#include "statemachine/recording_control.h"
#include "statemachine/recording_marks.h"
#include "statemachine/start_and_exit.h"
#include "statemachine/status_files.h"
#include "statemachine/timers.h"

namespace {

constexpr unsigned PASS_SLEEP_US = 500000;
constexpr unsigned NO_PORT_SLEEP_US = 2000000;
constexpr int ERRORS_TO_RESTART = 9;
constexpr int RESTARTS_TO_RESET = 3;

bool isExitRequested() {
    if (!b_got_sigterm && !b_got_sigint && !b_got_sighup) return false;
    markSignal(b_got_sigterm ? "SIGTERM" : (b_got_sigint ? "SIGINT" : "SIGHUP"));
    debug(eLOG_NOTICE, g_i_debugMode, "Received SIGTERM/SIGINT/SIGHUP");
    return true;
}

// The modem may have lost power, so its SIM may be locked when it is back.
void closeLostPort(sMachine& machine) {
    closeDevice(machine.port);
    notePinOutage();
}

// For a port that has hung up: it never answers again, although its name may already lead to the
// modem's next one. The modem was unplugged or restarts, so what was known of it and what it was
// asked to do is gone.
void forgetGoneModem(sMachine& machine) {
    setModemState(machine, eMODEM_SETUP);
    forgetGpsStream();
    resetDeviceInfo(machine.device, false);
    publish(machine, true);
}

void closeGonePort(sMachine& machine) {
    debug(eLOG_NOTICE, g_i_debugMode, "Device port has hung up, closing it");
    closeLostPort(machine);
}

// Opens or tests the port. True when it can be used in this pass.
bool checkPort(sMachine& machine) {
    if (isPortLost(machine.port)) {
        forgetGoneModem(machine);
        closeGonePort(machine);
    }
    const std::string& device = g_S_options.s_device;
    const int state = getPortState(device, machine.port);
    if (state == ePORT_STATE_GOOD) {
        machine.openAttempts = 0;
        debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Port '%s' is open and good with FH %d",
              MAIN_LOOP, device.c_str(), machine.port);
        return true;
    }
    setModemState(machine, eMODEM_SETUP);
    if (state == ePORT_STATE_CLOSED) {
        debug(eLOG_PORT_STATE, g_i_debugMode, "%s(): Port '%s' closed", MAIN_LOOP, device.c_str());
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

void restartClockSync() {
    g_Cp_dateTimeSyncTimer->SetTimeout(DATE_TIME_SYNC_S);
    g_Cp_dateTimeSyncTimer->Stop();
}

void handleReloadSignals(sMachine& machine) {
    const cSingleEvent event;
    if (b_got_sigusr2) {
        debug(eLOG_NOTICE, g_i_debugMode, "Received SIGUSR2");
        b_got_sigusr2 = false;
        markSignal("SIGUSR2");
        if (readConfiguration(machine) == eCONFIG_APPLIED) {
            debug(eLOG_NOTICE, g_i_debugMode, "Received USR2 and config changed");
            setModemState(machine, eMODEM_SETUP);
            restartClockSync();
        }
    }
    // The signal waits as long as the configuration does not permit setting the clock.
    if (b_got_sigusr1 && machine.config.syncTime) {
        debug(eLOG_NOTICE, g_i_debugMode, "Received SIGUSR1 : stop sync timer");
        b_got_sigusr1 = false;
        markSignal("SIGUSR1");
        restartClockSync();
    }
}

// Closes the port of a modem that is silent or keeps failing. After too many failures it ends the
// loop, so that the modem is reset.
void endPass(sMachine& machine) {
    const bool isGone = isPortLost(machine.port);
    if (isGone) {
        forgetGoneModem(machine);
        machine.deviceReachable = false;
    } else {
        publish(machine, false);
    }
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
    if (isSilent || isFailing)
        closeLostPort(machine);
    else if (isGone)
        closeGonePort(machine);
    if (machine.restartCount > RESTARTS_TO_RESET) {
        debug(eLOG_NOTICE, g_i_debugMode,
              "Device responded with errors after %d attempts, requires reset", machine.errorCount);
        setOuterState(machine, eOUTER_EXIT_RESET);
        return;
    }
    sleepMicroseconds(PASS_SLEEP_US);
}

void runPassWithPort(sMachine& machine) {
    endLeftPrompt(machine.port);
    publish(machine, false);
    handleReloadSignals(machine);
    runModemState(machine);
    endPass(machine);
}

void runPassWithoutPort(sMachine& machine) {
    cTimer& timer = g_C_deviceMissingTimer;
    // Started once per outage; only a set-up stops it.
    if (!timer.IsTimerEnabled()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Unable to open device port, starting %d minute timer",
              static_cast<int>(timer.GetTimeout() / 60));
        timer.Start();
    }
    if (timer.IsTimerDone()) {
        debug(eLOG_NOTICE, g_i_debugMode, "Device missing after %d minutes, resetting",
              static_cast<int>(timer.GetTimeout() / 60));
        machine.deviceReachable = false;
        setOuterState(machine, eOUTER_EXIT_RESET);
    }
    resetDeviceInfo(machine.device, false);
    publish(machine, true);
    sleepMicroseconds(NO_PORT_SLEEP_US);
}

void runPass(sMachine& machine) {
    notifyAlive();
    controlRecording(machine);
    machine.deviceReachable = true;
    machine.lastResult = eSUCCESS;
    if (isExitRequested()) {
        setOuterState(machine, eOUTER_EXIT);
        return;
    }
    const cRepeatedRun run(eWORK_PASS);
    const bool portGood = checkPort(machine);
    if (isFirmwareUpdateRequested()) {
        setOuterState(machine, eOUTER_EXIT_RESET);
        return;
    }
    if (portGood)
        runPassWithPort(machine);
    else
        runPassWithoutPort(machine);
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
