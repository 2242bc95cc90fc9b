#ifndef FLEET_JUDGEMENT_H
#define FLEET_JUDGEMENT_H

#include <ctime>
#include <string>
#include <vector>

#include "fleet/fleet_model.h"

// How a gateway is and what is wrong with it, the worst first.
struct sJudgement {
    const sGateway* gateway = nullptr;
    bool isOnline = false;
    std::string state;                  // "offline", or that of its worst slot
    const sSlotState* worst = nullptr;  // the slot that is listed; none before the first status
    std::vector<sTrouble> troubles;     // with several slots each says which
    time_t heard = 0;                   // when it last said something, by its clock; 0: never
    bool isClockWrong = false;          // so that heard says nothing
};

constexpr const char* STATE_OFFLINE = "offline";
constexpr const char* STATE_NOT_KNOWN = "not_known";  // no slot has said anything yet

// The sign of life comes every so many seconds; a late one may be under way.
constexpr double SILENCE_FACTOR = 2.5;

// The judgement points into the gateway.
sJudgement judge(const sGateway& gateway, time_t now);

// All of them, the worst first, then by name.
std::vector<sJudgement> judgeAll(const cFleet& fleet, time_t now);

// Whether it is the id of a state, or of this file's: a gateway can call its state what it likes.
bool isKnownState(const std::string& state);

// "offline, not_known, connected, ...".
std::string knownStates();

// "NOT CONNECTED" for "not_connected".
std::string stateWords(const std::string& state);

#endif
