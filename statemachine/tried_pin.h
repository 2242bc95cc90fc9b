#ifndef STATEMACHINE_TRIED_PIN_H
#define STATEMACHINE_TRIED_PIN_H

#include "include/device_records.h"

// A PIN is noted in the store before the SIM sees it, and the note goes when its outcome is sure: a
// daemon that starts anew knows a PIN that may have cost an attempt already. What is noted is which
// writing of the PIN file it was, never its content.

// Before each command that shows the SIM the PIN in the file.
void noteTriedCpin(const sSimInfo& sim);

// Once the SIM is ready with all its attempts: only a PIN that was right gives them back, while an
// OK alone may be of another command.
void forgetTriedCpin(const sSimInfo& sim);

// Whether the file is as it was when its PIN was tried without a sure outcome.
bool isTriedCpin(const sSimInfo& sim);

// What the SIM said of its attempts; both false when they could not be read.
bool hasAllAttempts(const sSimInfo& sim);
bool hasLostAttempt(const sSimInfo& sim);

// For tests: as in a process that has just started.
void resetTriedPinState();

#endif
