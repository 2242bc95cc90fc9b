#ifndef STATEMACHINE_CLEANUP_H
#define STATEMACHINE_CLEANUP_H

// Takes the interface down and deletes the daemon's status files. What is left of its view is the
// key-value store.
void cleanup();

#endif
