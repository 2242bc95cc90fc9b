#ifndef CLI_BASE_DAEMON_PROCESS_H
#define CLI_BASE_DAEMON_PROCESS_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "published/paths.h"

// The pid in the slot's pid file, whether that process lives or not; 0 when there is none.
int recordedPid(const sPlaces& places, int slot);

// Whether the process exists and was started as cellslotd. A pid file outlives its daemon, and the
// number may belong to another program by now. A process that has ended but was not collected does
// not count.
bool isDaemon(const sPlaces& places, int pid);

// The pid of the slot's living daemon, 0 when none runs.
int runningDaemon(const sPlaces& places, int slot);

// The slots that have a living daemon, in order.
std::vector<int> runningSlots(const sPlaces& places);

#endif
