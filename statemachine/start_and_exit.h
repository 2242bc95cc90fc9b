#ifndef STATEMACHINE_START_AND_EXIT_H
#define STATEMACHINE_START_AND_EXIT_H

#include "statemachine/machine.h"

// What runs once before the main loop and once after it.

// Installs the signal handlers, reads the configuration, and creates timers, tables, records and
// the spool. In the host's test mode the outer state is no longer running afterwards.
void prepare(sMachine& machine);

// Ends the data session, publishes the last status, removes the status files, resets or powers off
// the modem as the outer state requires, and closes the port. Returns the exit status.
int leave(sMachine& machine);

#endif
