#ifndef STATEMACHINE_MACHINE_H
#define STATEMACHINE_MACHINE_H

#include <string>

#include "config/config_reader.h"
#include "include/config_options.h"
#include "include/device_records.h"
#include "include/result_codes.h"
#include "statemachine/outer_state.h"

// What the main loop, its modem states, and start and exit share.

enum eModemState : int {
    eMODEM_RESTART = 0,
    eMODEM_SETUP = 1,
    eMODEM_REGISTERED = 2,
    eMODEM_UNUSED = 3,
    eMODEM_CONNECTED = 4,
};

// The daemon's states, records, counters and flags. It lives as long as runStateMachine() runs.
struct sMachine {
    eOuterState outerState = eOUTER_RUNNING;  // setOuterState() changes it
    eModemState modemState = eMODEM_SETUP;    // setModemState() changes it
    int port = -1;
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
    // one is due when the SIM comes; also when a poll reports that the SIM was just unlocked.
    bool setupDue = false;
    bool setupWithoutSim = false;
};

// The function that the log names in the lines of the loop and of its states.
constexpr const char* MAIN_LOOP = "runStateMachine";

// The state in words, for log and recording.
const char* modemStateName(eModemState state);

// The only places where the states change; each change is logged by name.
void setOuterState(sMachine& machine, eOuterState state);
void setModemState(sMachine& machine, eModemState state);

// Writes the status files, at once when forced, otherwise when they are due, and reports the state
// to the service manager.
void publish(sMachine& machine, bool force);

// Reads the configuration file into the record and publishes the result, an eConfigResult.
unsigned readConfiguration(sMachine& machine);

#endif
