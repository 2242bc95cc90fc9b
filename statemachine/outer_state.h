#ifndef STATEMACHINE_OUTER_STATE_H
#define STATEMACHINE_OUTER_STATE_H

// Whether the daemon runs, and how it ends. The last value is the exit status of the process.
enum eOuterState : int {
    eOUTER_RUNNING = 1,
    eOUTER_EXIT = 2,            // on a signal
    eOUTER_EXIT_RESET = 3,      // and reset the modem
    eOUTER_EXIT_AS_IT_IS = 4,   // and leave GPS and LED alone: the modem restarts itself
    eOUTER_EXIT_POWER_OFF = 5,  // and power the modem off
    eOUTER_TEST_MODE = 6,       // the host is in its factory test mode
};

// The state in words, for the log.
const char* outerStateName(eOuterState state);

#endif
