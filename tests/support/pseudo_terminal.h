#ifndef TESTS_SUPPORT_PSEUDO_TERMINAL_H
#define TESTS_SUPPORT_PSEUDO_TERMINAL_H

#include <string>

// The modem's end of a serial port, non-blocking, which the caller closes, and the name under which
// the daemon opens the other end.
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

// On a busy machine the kernel may take long to pass bytes through a terminal, while the clock of a
// test is fake. Waits until the expected number has come; false if they do not come within seconds.
bool waitForBytes(int end, int expected);

#endif
