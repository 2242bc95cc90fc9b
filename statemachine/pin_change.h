#ifndef STATEMACHINE_PIN_CHANGE_H
#define STATEMACHINE_PIN_CHANGE_H

#include <string>

#include "include/device_records.h"

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

// Whether a SIM that asks for its PIN may be shown the new one first, which leaves it an attempt.
// One with fewer attempts than before has refused the old PIN, or the new one.
bool mayTryNewPin(const sPinChange& change, int attempts);

// After silence, or from a SIM that is busy, which says nothing about the new PIN. Once a process.
bool mayNewPinBeTriedAgain();
void resetPinChangeState();

// The SIM has the old PIN still: the request is made again.
void requestPinChangeAgain(const sSimInfo& sim, const sPinChange& change);

#endif
