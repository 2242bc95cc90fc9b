#ifndef STATEMACHINE_TIMERS_H
#define STATEMACHINE_TIMERS_H

#include <memory>

#include "platform/include/timer.h"

constexpr unsigned DATE_TIME_SYNC_S = 14400;      // after the clock was set
constexpr unsigned DATE_TIME_SYNC_RETRY_S = 300;  // after it could not be set
constexpr unsigned REGISTRATION_GRACE_S = 15;

extern std::unique_ptr<cTimer> g_Cp_dateTimeSyncTimer;  // until the clock is set again
extern std::unique_ptr<cTimer> g_Cp_connectedTimer;     // measures the data session
extern std::unique_ptr<cTimer> g_Cp_cardstatsTimer;     // paces the status files
extern std::unique_ptr<cTimer> g_Cp_simMissingTimer;    // from the first poll without a SIM
extern cTimer g_C_checkRegTimer;          // how long a session may be without registration
extern cTimer g_C_noServiceTimer;         // how long a modem may be without registration
extern cTimer g_C_netConDelayTimer;       // pause after a session that could not be started
extern cTimer g_C_networkKeepAliveTimer;  // until the next ping
extern cTimer g_C_deviceMissingTimer;     // how long the port may be unusable

// Puts all timers into their state at the start of the main loop: only the one of the registration
// grace period runs.
void createTimers();

#endif
