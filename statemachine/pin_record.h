#ifndef STATEMACHINE_PIN_RECORD_H
#define STATEMACHINE_PIN_RECORD_H

#include <string>

#include "include/result_codes.h"
#include "statemachine/pin_rule.h"

struct sSimInfo;

// The record of the PIN in the PIN file. It is in the store, which outlives the daemon, and is
// written before the PIN is sent to the SIM. The rule itself is in pin_rule.

sFileStamp fileStamp(const std::string& path);

// Remembers the version of the file that this process found at its start.
void notePinFileAtStart(const sSimInfo& sim);

// The input of the rule.
sPinSituation pinSituation(const sSimInfo& sim);

enum class ePinNote {
    DONE,
    FILE_CHANGED,  // it now holds another PIN
    NOT_STORED,    // and the SIM has lost attempts, and the file is older than the process
};

// Call this before a command that sends this PIN of the file to the SIM. opens: AT+CPIN, which must
// only be sent if the result is DONE; any other command is sent in any case.
ePinNote notePinSent(const sSimInfo& sim, const std::string& pin, bool opens);

// Call this after that command.
void notePinAnswer(const sSimInfo& sim, ePortReturn result);

// Empties the file of a PIN that must not be used again, unless it now holds another one.
void takeOutPin(const sSimInfo& sim, const std::string& pin);

// The SIM has accepted this new PIN, and the daemon has tried to write it to the file. isWaitedFor:
// the PIN may be used without an outage.
void notePinWritten(const sSimInfo& sim, const std::string& pin, bool isWaitedFor);

void notePinSimReady(const sSimInfo& sim);

void notePinOutage();

// A PIN that is not the file's has cost an attempt.
void notePinOfChangeRefused();

// What the SIM reports, or ATTEMPTS_NOT_READ.
int attemptsOf(const sSimInfo& sim);

// For tests: as in a process that has just started.
void resetPinRecord();

#endif
