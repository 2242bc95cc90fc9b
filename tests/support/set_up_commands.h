#ifndef TESTS_SUPPORT_SET_UP_COMMANDS_H
#define TESTS_SUPPORT_SET_UP_COMMANDS_H

#include <cctype>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/flow_fixture.h"

// What the daemon sends to a healthy modem, in order, and what a refusal of each command leads to.
// The list is here only: flow tests, their parameters and tests/system derive from it.

enum class eRefusal {
    ENDS,        // the sequence ends with the refusal
    GOES_ON,     // optional: what the modem refuses the daemon does without
    OWN_NUMBER,  // ends; a +CME error means a locked SIM
    OWN_TEST,    // depends on more than this command: a test of its own says what follows
};

struct sStep {
    const char* command;
    eRefusal refusal;
};

using tSteps = std::vector<sStep>;

inline void PrintTo(const sStep& step, std::ostream* out) {
    *out << step.command;
}

inline tCommands commandsOf(const tSteps& steps) {
    tCommands list;
    for (const sStep& step : steps)
        list.emplace_back(step.command);
    return list;
}

template <typename... tLists>
tSteps joinedSteps(const tLists&... lists) {
    tSteps all;
    (all.insert(all.end(), lists.begin(), lists.end()), ...);
    return all;
}

// ---- set-up -----------------------------------------------------------------------------------

inline tSteps modelSteps() {
    return {{"AT+GMM", eRefusal::ENDS},
            {"AT+CMEE=1", eRefusal::ENDS},
            {"AT#GPIO=1,0,2", eRefusal::ENDS},
            {"AT#SLED=3,5,30", eRefusal::ENDS}};
}

// A modem with two firmware images is asked which of them runs.
inline tSteps identitySteps(bool dualFirmware = false) {
    tSteps steps = {{"ATI3", eRefusal::ENDS},
                    {"AT+CGMR", eRefusal::ENDS},
                    {"AT#CFVR", eRefusal::ENDS},
                    {"AT#FWSWITCH=?", eRefusal::GOES_ON}};
    if (dualFirmware) steps.push_back({"AT#FWSWITCH?", eRefusal::ENDS});
    steps.push_back({"ATI5", eRefusal::ENDS});
    return steps;
}

inline tSteps simSlotSteps() {
    return {{"AT#GPIO=2,2", eRefusal::OWN_TEST}};
}

// One look at a SIM that is ready.
inline tSteps simSteps() {
    return {{"AT#QSS?", eRefusal::OWN_TEST},
            {"AT+CPIN?;#PCT", eRefusal::OWN_TEST},
            {"AT+CLCK=\"SC\",2", eRefusal::OWN_TEST},
            {"AT+CCID?", eRefusal::OWN_TEST},
            {"AT+CIMI", eRefusal::OWN_TEST}};
}

// What needs a usable SIM, before the poll information.
inline tSteps operatorSteps() {
    return joinedSteps(tSteps{{"AT+COPN", eRefusal::ENDS}}, simSteps());
}

// What is read of the modem before its SIM is looked at twice.
inline tSteps numberAndTemperatureSteps() {
    return {{"AT+CGSN", eRefusal::ENDS}, {"AT#TEMPMON=1", eRefusal::ENDS}};
}

inline tSteps pollInfoSteps() {
    return joinedSteps(numberAndTemperatureSteps(), simSteps(), simSteps(),
                       tSteps{{"AT+CNUM", eRefusal::OWN_NUMBER}}, simSteps(),
                       tSteps{{"AT+CGDCONT?", eRefusal::ENDS}});
}

inline tSteps smsSteps() {
    return {{"AT+CMGF=0", eRefusal::GOES_ON}};
}

inline tSteps detachSteps() {
    return {{"AT+CGATT?", eRefusal::GOES_ON}};
}

inline tSteps contextAndRadioSteps() {
    return {{"AT#PSNT=0", eRefusal::ENDS},
            {"AT+CGACT=0,1", eRefusal::GOES_ON},
            {"AT+CGDCONT=1,\"IPV4V6\",\"internet\"", eRefusal::ENDS},
            {"AT+WS46?", eRefusal::GOES_ON},
            {"AT+COPS=0", eRefusal::GOES_ON},
            {"AT#AUTOBND=0", eRefusal::GOES_ON}};
}

inline tSteps setupSteps() {
    return joinedSteps(modelSteps(), identitySteps(), simSlotSteps(), simSteps(), simSteps(),
                       operatorSteps(), pollInfoSteps(), smsSteps(), simSteps(), simSteps(),
                       detachSteps(), contextAndRadioSteps());
}

// ---- poll and session -------------------------------------------------------------------------

// The first poll of a modem that is registered in LTE.
inline tSteps pollSteps() {
    return joinedSteps(pollInfoSteps(), tSteps{{"AT+CEREG?", eRefusal::ENDS},
                                               {"AT+CIREG?", eRefusal::GOES_ON},
                                               {"AT#SLED=3,10,30", eRefusal::ENDS},
                                               {"AT#PSNT?;#RFSTS", eRefusal::ENDS},
                                               {"AT+CSQ", eRefusal::ENDS}});
}

// The start of a session; every command is in its own place.
inline tCommands sessionCommands() {
    return {"AT+CGATT?", "AT+CGATT=1",   "AT+CGATT?", "AT+COPS?",       "AT#NCM=1,1",
            "AT+CGACT?", "AT+CGACT=1,1", "AT+CGACT?", "AT+CGCONTRDP=1", "AT+CGDATA=\"M-RAW_IP\",1"};
}

// ---- the same as texts ------------------------------------------------------------------------

inline tCommands simCommands() {
    return commandsOf(simSteps());
}
inline tCommands pollInfoCommands() {
    return commandsOf(pollInfoSteps());
}
inline tCommands setupCommands() {
    return commandsOf(setupSteps());
}
inline tCommands pollCommands() {
    return commandsOf(pollSteps());
}

// What set-up sends before it looks at the SIM.
inline tCommands commandsBeforeTheSim(bool dualFirmware = false) {
    return commandsOf(joinedSteps(modelSteps(), identitySteps(dualFirmware), simSlotSteps()));
}

// ---- parameters of tests ----------------------------------------------------------------------

// A command at its place in a list.
struct sPlace {
    size_t index;
    std::string command;
};

inline void PrintTo(const sPlace& place, std::ostream* out) {
    *out << place.command << " at " << place.index;
}

inline std::vector<sPlace> placesOf(const tCommands& list) {
    std::vector<sPlace> places;
    for (const std::string& command : list)
        places.push_back({places.size(), command});
    return places;
}

// The steps whose refusal the command alone decides, each once.
inline tSteps refusalsOf(const tSteps& steps) {
    tSteps list;
    for (const sStep& step : steps)
        if (step.refusal != eRefusal::OWN_TEST) list.push_back(step);
    return list;
}

// The command as a part of a test's name, which takes letters, digits and '_'.
inline std::string testName(const std::string& command) {
    std::string name;
    for (const char c : command)
        if (isalnum(static_cast<unsigned char>(c)) != 0)
            name += c;
        else if (c == '?')
            name += "_get";
        else if (!name.empty() && name.back() != '_')
            name += '_';
    return name;
}

// The first count commands of a list.
inline tCommands firstOf(const tCommands& list, size_t count) {
    return tCommands(list.begin(), list.begin() + static_cast<long>(count));
}

// How often the index-th command of a list occurs before it.
inline size_t earlierOccurrences(const tCommands& list, size_t index) {
    size_t count = 0;
    for (size_t i = 0; i < index; ++i)
        if (list[i] == list[index]) ++count;
    return count;
}

#endif
