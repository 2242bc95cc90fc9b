#ifndef TESTS_SUPPORT_TERMINAL_BYTES_H
#define TESTS_SUPPORT_TERMINAL_BYTES_H

// The bytes that wait at an end of a terminal to be read.
int waitingBytes(int end);

// The kernel brings bytes through a terminal in its own time, which on a busy machine may be long,
// while the time of a test is made up. Waits until so many have come; false when they do not within
// seconds.
bool waitForBytes(int end, int expected);

#endif
