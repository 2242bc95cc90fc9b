#ifndef STATEMACHINE_CLEANUP_H
#define STATEMACHINE_CLEANUP_H

// At the start: removes the temporary files that killed daemons and commands left.
void sweepTemporaryFiles();

// At the end: takes the interface down and deletes the daemon's status files. The last status stays
// in the key-value store.
void cleanup();

#endif
