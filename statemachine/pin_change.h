#ifndef STATEMACHINE_PIN_CHANGE_H
#define STATEMACHINE_PIN_CHANGE_H

#include <string>

#include "include/result_codes.h"

struct sSimInfo;

// A change of the SIM's PIN that is under way. From the moment that the request is emptied until
// the new PIN is in the PIN file, a power cut, a kill or a modem that does not answer would leave
// the old PIN there, and the new one nowhere. A file of the slot has both for that time, on the
// disk.
struct sPinChange {
    std::string oldPin;
    std::string newPin;
    int attempts = 0;      // that the SIM reported before, or ATTEMPTS_NOT_READ
    bool isTried = false;  // the new PIN was sent to a SIM that asked for its PIN
};

// Before the SIM gets the command. False when it is not on the disk.
bool notePinChange(const sPinChange& change);

// The PIN file has the new PIN, or the SIM has the old one for sure.
void endPinChange();

// False when none is under way. One whose old PIN was written over meanwhile is ended.
bool findPinChange(const sSimInfo& sim, sPinChange& change);

// Whether a SIM that asks for its PIN, with these attempts, gets the new one first: it may cost an
// attempt, but never the last one, and never one twice. Notes that, on the disk.
bool noteNewPinSent(const sPinChange& change, int attempts);
void noteNewPinAnswer(ePortReturn result);

// The SIM is ready and was last sent the new PIN, without an answer. True once.
bool findAcceptedPinChange(const sSimInfo& sim, sPinChange& change);

// The SIM has the old PIN still, or it cannot be found out: the request is made again.
void requestPinChangeAgain(const sSimInfo& sim, const sPinChange& change);

void resetPinChangeState();

#endif
