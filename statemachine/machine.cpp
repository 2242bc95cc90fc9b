#include "statemachine/machine.h"

#include <unistd.h>

#include "config/config_look.h"
#include "device/recorder.h"
#include "include/debug.h"
#include "include/options.h"
#include "include/service_manager.h"
#include "published/paths.h"
#include "statemachine/recording_marks.h"
#include "statemachine/service_status.h"
#include "statemachine/status_files.h"
#include "statemachine/timers.h"

const char* modemStateName(eModemState state) {
    switch (state) {
        case eMODEM_RESTART:
            return "restart";
        case eMODEM_SETUP:
            return "set-up";
        case eMODEM_REGISTERED:
            return "registered";
        case eMODEM_UNUSED:
            return "unused";
        case eMODEM_CONNECTED:
            return "connected";
    }
    return "unknown";
}

namespace {

void noteStates(const sMachine& machine) {
    markStates(outerStateName(machine.outerState), modemStateName(machine.modemState));
}

}  // namespace

void setOuterState(sMachine& machine, eOuterState state) {
    if (machine.outerState == state) return;
    debug(eLOG_STATE, g_i_debugMode, "Outer state %s -> %s", outerStateName(machine.outerState),
          outerStateName(state));
    machine.outerState = state;
    noteStates(machine);
}

void setModemState(sMachine& machine, eModemState state) {
    if (machine.modemState == state) return;
    debug(eLOG_STATE, g_i_debugMode, "Modem state %s -> %s", modemStateName(machine.modemState),
          modemStateName(state));
    machine.modemState = state;
    noteStates(machine);
}

void publish(sMachine& machine, bool force) {
    writeOutStatusFiles(machine.device, machine.config, force);
    notifyStatus(describeService(machine.device, machine.port != -1,
                                 machine.modemState == eMODEM_CONNECTED,
                                 g_Cp_connectedTimer->GetElapsedTime()));
}

unsigned readConfiguration(sMachine& machine) {
    const unsigned result = machine.reader.readConfig(machine.config);
    g_i_debugMode = machine.config.debugMode;
    publishConfigLook(
        configLookPath(g_S_options.s_port),
        {getpid(), ++machine.configLooks, static_cast<eConfigResult>(result), machine.configFile,
         machine.config.enableInterface, machine.config.roamingAllowed});
    hideFromRecording(machine.config.password);
    markConfig(machine.configFile, configResultName(static_cast<eConfigResult>(result)));
    return result;
}
