#ifndef STATEMACHINE_MODEM_STATES_H
#define STATEMACHINE_MODEM_STATES_H

#include "statemachine/machine.h"

// The work of the modem state in a pass with a good port. It sets the result of the pass and may
// change both states.
void runModemState(sMachine& machine);

#endif
