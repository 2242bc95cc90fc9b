#ifndef STATEMACHINE_STATE_MACHINE_H
#define STATEMACHINE_STATE_MACHINE_H

// How the daemon ended; the exit status of the process.
enum eOuterState : int {
    eOUTER_RUNNING = 1,
    eOUTER_EXIT = 2,            // on a signal
    eOUTER_EXIT_RESET = 3,      // and reset the modem
    eOUTER_EXIT_AS_IT_IS = 4,   // and leave GPS and LED alone: the modem restarts itself
    eOUTER_EXIT_POWER_OFF = 5,  // and power the modem off
    eOUTER_TEST_MODE = 6,       // the host is in its factory test mode
};

// The daemon's whole life after its start: keeps the port open and drives the modem through set-up,
// registration and data session until a signal, a request or a modem beyond help ends it. Returns
// the final outer state.
int runStateMachine();

#endif
