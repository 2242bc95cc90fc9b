#ifndef STATEMACHINE_STATE_MACHINE_H
#define STATEMACHINE_STATE_MACHINE_H

#include "statemachine/outer_state.h"

// Runs the daemon: keeps the port open and takes the modem through set-up, registration and data
// session, until a signal, a request or a modem that needs a reset ends it. Returns the final outer
// state.
int runStateMachine();

#endif
