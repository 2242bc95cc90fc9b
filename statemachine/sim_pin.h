#ifndef STATEMACHINE_SIM_PIN_H
#define STATEMACHINE_SIM_PIN_H

struct sSimInfo;

// The SIM's PIN is managed through three small files of the slot: the current PIN, a request (a new
// PIN, "enable" or "disable") and a PUK. The daemon acts on a request or a PUK once each
// time its file is written; pin_rule.h says when it sends the PIN. Every operation stores its
// outcome in the SIM record in one line, with the PINs, so that administrators see what was wrong
// with them.

// Starts to watch the three files of the record, and notes the PIN file that is there.
void createCpinMonitors(const sSimInfo& sim);

// For tests: forgets the monitors and what is known of the PIN outside the store.
void resetSimPinState();

#endif
