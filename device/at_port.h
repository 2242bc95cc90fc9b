#ifndef DEVICE_AT_PORT_H
#define DEVICE_AT_PORT_H

#include <string>

#include "include/result_codes.h"

// The modem's port: a serial character device, or a FIFO for bench tests. In all code `port` is its
// file descriptor, -1 while it is closed.

enum eLineEnd : char {
    eCR = 13,
    eLF = 10,
};

// The most bytes that one read takes from the port.
constexpr size_t PORT_READ_MAX = 131072;

// Opens a port and sets a terminal to raw mode, 230400 baud, 8N1. Returns 0, an errno value (2: the
// node does not exist), or 1 for a file that is neither a character device nor a FIFO. port is -1
// on failure.
int openDevice(const std::string& path, int& port);

// Opens read-write, non-blocking and not as controlling terminal. Returns 0 or errno.
int doOpenDevice(const std::string& path, int& port);

// Sets raw mode with the 16-bit terminal requests. Returns 0 or errno.
int doSetupTty(int port);

// Closes the port if it is open; port is -1 afterwards.
void closeDevice(int& port);

// Whether an open port has hung up: its device is gone, and the descriptor stays dead even if the
// device comes back. False for a closed port and for a FIFO.
bool isPortLost(int port);

// Writes a text and, 10 ms later, a carriage return. ePORT_OK, or ePORT_ERROR when the port is -1
// or the text could not be written in three attempts.
ePortReturn writeToPort(int port, const std::string& text, bool withCarriageReturn);

// Reads what is waiting, at most maxBytes. Returns the number of bytes, 0 when nothing is waiting,
// -1 on failure.
int readFromPort(int port, std::string& buffer, int maxBytes);

#endif
