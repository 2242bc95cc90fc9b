#ifndef STATEMACHINE_CLEANUP_H
#define STATEMACHINE_CLEANUP_H

// At the start: removes what killed daemons and commands left of files that they were writing.
void sweepTemporaryFiles();

// At the end: takes the interface down and deletes the daemon's status files. What is left of its
// view is the key-value store.
void cleanup();

#endif
