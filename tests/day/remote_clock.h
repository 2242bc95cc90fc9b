#ifndef TESTS_DAY_REMOTE_CLOCK_H
#define TESTS_DAY_REMOTE_CLOCK_H

#include <cstdint>

// The clock of a daemon in a process of its own, so that its memory can be measured alone: whenever
// it sleeps it tells the process of the modem how long, and goes on with the time that it is told.

// Of the daemon's process. The socket's other end is the modem's.
void useRemoteClock(int socket);

// Of the modem's process: the time that the daemon wants to sleep. False when it has ended.
bool takeSleep(int socket, uint64_t& microseconds);
void tellTime(int socket, uint64_t nowMs);

#endif
