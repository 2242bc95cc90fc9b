#ifndef STATEMACHINE_PIN_RECORD_H
#define STATEMACHINE_PIN_RECORD_H

#include <string>

#include "include/device_records.h"
#include "statemachine/pin_rule.h"

// The record of the PIN in the PIN file: it is kept in the store, which outlives the daemon, and is
// written before the SIM sees the PIN. The rule itself is in pin_rule.

sFileStamp fileStamp(const std::string& path);

// Remembers the writing of the file that this process has found.
void notePinFileAtStart(const sSimInfo& sim);

// What the rule judges by.
sPinSituation pinSituation(const sSimInfo& sim);

enum class ePinNote {
    DONE,
    FILE_CHANGED,  // it holds another PIN meanwhile
    NOT_STORED,    // the SIM says that attempts are gone, and the file is older than the process
};

// Before a command that shows the SIM this PIN of the file. opens: AT+CPIN, which is only sent when
// it is DONE; any other command always is.
ePinNote notePinSent(const sSimInfo& sim, const std::string& pin, bool opens);

// After that command.
void notePinAnswer(const sSimInfo& sim, ePortReturn result);

// Empties the file of a PIN that must not be used again, unless it holds another one meanwhile.
void takeOutPin(const sSimInfo& sim, const std::string& pin);

// The SIM took this PIN as its new one, and it was written into the file if that could be.
// isWaitedFor: it may be used without an outage.
void notePinWritten(const sSimInfo& sim, const std::string& pin, bool isWaitedFor);

void notePinSimReady(const sSimInfo& sim);

void notePinOutage();

// For tests: as in a process that has just started.
void resetPinRecord();

#endif
