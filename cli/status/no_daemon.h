#ifndef CLI_STATUS_NO_DAEMON_H
#define CLI_STATUS_NO_DAEMON_H

#include <string>

#include "cli/base/failure.h"
#include "cli/status/slot_report.h"

// One wording for a slot without a daemon, wherever it is met.

// "no daemon runs for slot 2"
std::string noDaemonText(int slot);
// The same, and why, where the modem is meant to be off.
std::string noDaemonReason(const sSlotReport& report);
// The same of all slots together, with what to do.
cFailure noDaemonAtAll();
// The same as a failure, with what to do.
cFailure noDaemon(const sSlotReport& report);

// Whether somebody wants the modem off, which also ends its daemon.
bool isPowerOff(eCfgDataStatus value);

// What has to be done to have a daemon again. One whose modem is to be off ends at once.
std::string howToStart(int slot, const sDataDirectiveReport& data);

// The pid of the slot's daemon. Throws cFailure when none runs.
int requireDaemon(const sPlaces& places, int slot);

#endif
