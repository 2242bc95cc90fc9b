#ifndef CLI_STATUS_NO_DAEMON_H
#define CLI_STATUS_NO_DAEMON_H

#include <string>

#include "cli/base/failure.h"
#include "cli/status/slot_report.h"

// One wording for a slot without a daemon, for all subcommands.

// "no daemon is running for slot 2"
std::string noDaemonText(int slot);
// The same, with the reason if the modem is off on request.
std::string noDaemonReason(const sSlotReport& report);
// The same for all slots, with what to do.
cFailure noDaemonAtAll();
// The same as a failure, with what to do.
cFailure noDaemon(const sSlotReport& report);

// Whether the modem is to be off, which also ends its daemon.
bool isPowerOff(eCfgDataStatus value);

// How to get a running daemon. One whose modem is to be off would end at once.
std::string howToStart(int slot, const sDataDirectiveReport& data);

// The pid of the slot's daemon. Throws cFailure if none runs.
int requireDaemon(const sPlaces& places, int slot);

#endif
