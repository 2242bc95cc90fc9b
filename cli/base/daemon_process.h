#ifndef CLI_BASE_DAEMON_PROCESS_H
#define CLI_BASE_DAEMON_PROCESS_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "published/paths.h"

// The pid in the slot's pid file, whether that process still runs or not; 0 if there is no file.
int recordedPid(const sPlaces& places, int slot);

// Whether the process exists and was started as cellslotd. A pid file outlives its daemon, and its
// number may belong to another program now. A zombie does not count.
bool isDaemon(const sPlaces& places, int pid);

// The pid of the slot's running daemon, 0 if none runs.
int runningDaemon(const sPlaces& places, int slot);

// The slots whose daemon runs, in order.
std::vector<int> runningSlots(const sPlaces& places);

#endif
