#ifndef STATEMACHINE_STATE_MACHINE_H
#define STATEMACHINE_STATE_MACHINE_H

#include "statemachine/outer_state.h"

// The daemon's whole life after its start: keeps the port open and drives the modem through set-up,
// registration and data session until a signal, a request or a modem beyond help ends it. Returns
// the final outer state.
int runStateMachine();

#endif
