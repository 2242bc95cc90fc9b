#ifndef INCLUDE_SLEEP_H
#define INCLUDE_SLEEP_H

// Suspends the daemon; a signal ends the sleep early. The one place where it sleeps, so that tests
// can let a clock of their own run instead.
void sleepMicroseconds(unsigned microseconds);

// Puts another function behind sleepMicroseconds; a null pointer brings the system's back.
void setSleepFunction(void (*function)(unsigned microseconds));

#endif
