#ifndef TESTS_DAY_REMOTE_CLOCK_H
#define TESTS_DAY_REMOTE_CLOCK_H

#include <cstdint>

// The clock of a daemon in a process of its own, so that its memory can be measured alone. Whenever
// the daemon sleeps, it sends the duration to the process of the modem and gets the new time back.

// For the daemon's process. The modem has the other end of the socket. startMs: since the host's
// start. The time of day returns to its start after each day, because the files have the real one.
void useRemoteClock(int socket, uint64_t startMs);

// For the modem's process: reads how long the daemon wants to sleep. False if the daemon has ended.
bool takeSleep(int socket, uint64_t& microseconds);
void tellTime(int socket, uint64_t nowMs);

#endif
