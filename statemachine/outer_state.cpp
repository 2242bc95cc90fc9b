#include "statemachine/outer_state.h"

const char* outerStateName(eOuterState state) {
    switch (state) {
        case eOUTER_RUNNING:
            return "running";
        case eOUTER_EXIT:
            return "exit";
        case eOUTER_EXIT_RESET:
            return "exit and reset the modem";
        case eOUTER_EXIT_AS_IT_IS:
            return "exit and leave the modem as it is";
        case eOUTER_EXIT_POWER_OFF:
            return "exit and power the modem off";
        case eOUTER_TEST_MODE:
            return "test mode";
    }
    return "unknown";
}
