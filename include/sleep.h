#ifndef INCLUDE_SLEEP_H
#define INCLUDE_SLEEP_H

// Suspends the daemon; a signal ends the sleep early. The daemon sleeps nowhere else, so tests can
// run a fake clock instead.
void sleepMicroseconds(unsigned microseconds);

// Replaces the function that sleepMicroseconds calls; a null pointer restores the system's.
void setSleepFunction(void (*function)(unsigned microseconds));

#endif
