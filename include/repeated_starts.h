#ifndef INCLUDE_REPEATED_STARTS_H
#define INCLUDE_REPEATED_STARTS_H

#include <cstdint>
#include <string>

// A fault that ends the daemon so that modem and daemon start again, such as a missing SIM, makes
// each run log what the one before logged. So a run that ends in this way leaves a file with the
// hashes of what was news in it, and the next run logs only what differs. Whatever is wrong with
// the file, the next run logs everything.

// Takes what the run before left in the file, and deletes it. From here on the news of this run is
// noted.
void beginStart(const std::string& path);

// Notes a notice or an error that is news in this run, known by its hash. True when the run before
// logged it, too; what it logged twice is known twice.
bool wasLoggedByLastRun(uint64_t hash);

// How many times in a row the daemon was started after such an end; 0 when it was not, or from the
// second call on: for one line that says so, before the first one that is news.
struct sStartsInARow {
    unsigned starts = 0;
    bool isLoggedWhole = false;  // what repeats is logged, too: once a day
};
sStartsInARow takeStartsInARow();

// The data session has been up for long enough: whatever was wrong is over, and what comes next is
// news.
void noteWorkingRun();
constexpr unsigned WORKING_AFTER_S = 600;

// The last step of a run after which the daemon is started again. Without beginStart() it does
// nothing.
void keepForNextStart();

// For tests: as in a process that has not begun.
void resetRepeatedStarts();

#endif
