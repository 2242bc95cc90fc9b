#ifndef TESTS_SUPPORT_PSEUDO_TERMINAL_H
#define TESTS_SUPPORT_PSEUDO_TERMINAL_H

#include <string>

// The modem's end of a serial port, non-blocking and the caller's to close, and the name under
// which the daemon opens the other.
struct sPseudoTerminal {
    int modemEnd;
    std::string path;
};

// Throws std::runtime_error.
sPseudoTerminal openPseudoTerminal();

// The other end, non-blocking, with nothing echoed or translated. Throws std::runtime_error.
int openRawTerminal(const std::string& path);

// The bytes that wait at an end of a terminal to be read.
int waitingBytes(int end);

// The kernel brings bytes through a terminal in its own time, which on a busy machine may be long,
// while the time of a test is made up. Waits until so many have come; false when they do not within
// seconds.
bool waitForBytes(int end, int expected);

#endif
