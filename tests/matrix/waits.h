#ifndef TESTS_MATRIX_WAITS_H
#define TESTS_MATRIX_WAITS_H

#include <cstdint>
#include <string>

// How long the daemon may wait for the answer to a command.
uint64_t answerWaitMs(const std::string& command);

// Between an answer, or the end of the wait for it, and the next command: at most the sleep of a
// pass without a port (2000 ms) and of one with it (500 ms), and what the GPS port needs (500 ms
// until gpsd releases it, guard times of 1000 or 1100 ms around the escape).
constexpr uint64_t PAUSE_MAX_MS = 4100;

// From the unlocking of a SIM until the modem reports that it is ready: 10 s, and the last query of
// 1.1 s.
constexpr uint64_t MODEM_READY_MAX_MS = 11100;

#endif
