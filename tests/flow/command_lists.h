#ifndef TESTS_FLOW_COMMAND_LISTS_H
#define TESTS_FLOW_COMMAND_LISTS_H

#include "tests/support/flow_fixture.h"

// What the daemon sends to a healthy modem, piece by piece and in order.

inline tCommands modelCommands() {
    return {"AT+GMM", "AT+CMEE=1", "AT#GPIO=1,0,2", "AT#SLED=3,5,30"};
}

inline tCommands identityCommands() {
    return {"ATI3", "AT+CGMR", "AT#CFVR", "AT#FWSWITCH=?", "ATI5"};
}

// What needs a usable SIM, before the poll information.
inline tCommands operatorCommands() {
    return sequence("AT+COPN", simCommands());
}

inline tCommands pollInfoCommands() {
    return sequence("AT+CGSN", "AT#TEMPMON=1", simCommands(), simCommands(), "AT+CNUM",
                    simCommands(), "AT+CGDCONT?");
}

inline tCommands contextAndRadioCommands() {
    return {"AT#PSNT=0", "AT+CGACT=0,1", "AT+CGDCONT=1,\"IPV4V6\",\"internet\"",
            "AT+WS46?",  "AT+COPS=0",    "AT#AUTOBND=0"};
}

inline tCommands setupCommands() {
    return sequence(modelCommands(), identityCommands(), "AT#GPIO=2,2", simCommands(),
                    simCommands(), operatorCommands(), pollInfoCommands(), "AT+CMGF=0",
                    simCommands(), simCommands(), "AT+CGATT?", contextAndRadioCommands());
}

// The first poll of a modem that is registered in LTE.
inline tCommands pollCommands() {
    return sequence(pollInfoCommands(), "AT+CEREG?", "AT+CIREG?", "AT#SLED=3,10,30",
                    "AT#PSNT?;#RFSTS", "AT+CSQ");
}

// The start of a session; every command stands in it at its own place.
inline tCommands sessionCommands() {
    return {"AT+CGATT?", "AT+CGATT=1",   "AT+CGATT?", "AT+COPS?",       "AT#NCM=1,1",
            "AT+CGACT?", "AT+CGACT=1,1", "AT+CGACT?", "AT+CGCONTRDP=1", "AT+CGDATA=\"M-RAW_IP\",1"};
}

// The first count commands of a list.
inline tCommands firstOf(const tCommands& list, size_t count) {
    return tCommands(list.begin(), list.begin() + static_cast<long>(count));
}

// How often the index-th command of a list stands before it.
inline size_t earlierOccurrences(const tCommands& list, size_t index) {
    size_t count = 0;
    for (size_t i = 0; i < index; ++i)
        if (list[i] == list[index]) ++count;
    return count;
}

#endif
