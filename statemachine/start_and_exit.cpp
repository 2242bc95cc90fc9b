#include "statemachine/start_and_exit.h"

#include <csignal>

#include "atcmd/catalogue.h"
#include "config/config_file.h"
#include "device/at_port.h"
#include "device/at_transaction.h"
#include "gps/gps.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_starts.h"
#include "include/service_manager.h"
#include "include/signal_flags.h"
#include "platform/include/error_sink.h"
#include "published/paths.h"
#include "sms/listing_marker.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "statemachine/cleanup.h"
#include "statemachine/data_session.h"
#include "statemachine/modem_control.h"
#include "statemachine/recording_control.h"
#include "statemachine/sim_pin.h"
#include "statemachine/status_led.h"
#include "statemachine/timers.h"

namespace {

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

// The service manager restarts the daemon after these two; the other ends are requested.
bool isStartedAgain(eOuterState state) {
    return state == eOUTER_EXIT_RESET || state == eOUTER_EXIT_AS_IT_IS;
}

}  // namespace

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
    if (getDeviceTestMode()) setOuterState(machine, eOUTER_TEST_MODE);
}

int leave(sMachine& machine) {
    notifyStopping();
    machine.device.b_shutting_down = true;
    disconnectNetwork(machine.port, machine.device, machine.config);
    if (machine.outerState != eOUTER_EXIT_AS_IT_IS && machine.deviceReachable) {
        maybeStopGps(machine.device.modem);
        setStatusLed(machine.port, eSTAT_LED_ACTION_OFF, false);
    }
    resetDeviceInfo(machine.device, false);
    g_Cp_connectedTimer->Stop();
    publish(machine, true);
    cleanup();
    if (machine.outerState == eOUTER_EXIT_POWER_OFF) powerOffDevice();
    if (machine.outerState == eOUTER_EXIT_RESET) resetDevice(machine.port);
    closeDevice(machine.port);
    debug(eLOG_NOTICE, g_i_debugMode, "Exiting");
    endRecording(machine);
    if (isStartedAgain(machine.outerState))
        keepForNextStart();
    else
        endListings(g_s_root_sms_path);
    return machine.outerState;
}
