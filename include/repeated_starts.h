#ifndef INCLUDE_REPEATED_STARTS_H
#define INCLUDE_REPEATED_STARTS_H

#include <cstdint>
#include <string>

// Some faults, such as a missing SIM, end the daemon so that modem and daemon start again; each run
// would then log the same. So a run that ends in this way leaves a file with the hashes of its new
// messages, and the next run logs only what differs. If anything is wrong with the file, the next
// run logs everything.

// Reads and deletes the file of the previous run. From here on the new messages of this run are
// noted.
void beginStart(const std::string& path);

// Notes a notice or an error that is new in this run, by its hash. True if the previous run logged
// it too; what that run logged twice is recognised twice.
bool wasLoggedByLastRun(uint64_t hash);

// How many times in a row the daemon was started after such an end, for one log line before the
// first new message. 0 if it was not, and from the second call on.
struct sStartsInARow {
    unsigned starts = 0;
    bool isLoggedWhole = false;  // repetitions are logged too: once a day
};
sStartsInARow takeStartsInARow();

// The same number, as often as it is asked for. 0 again after noteWorkingRun().
unsigned startsInARow();

// The data session has been up long enough: the fault is over, and later messages are new.
void noteWorkingRun();
constexpr unsigned WORKING_AFTER_S = 600;

// Writes the file: the last step of a run after which the daemon is started again. Does nothing
// without beginStart().
void keepForNextStart();

// For tests: restores the state before beginStart().
void resetRepeatedStarts();

#endif
