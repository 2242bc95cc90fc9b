#ifndef TESTS_MATRIX_WAITS_H
#define TESTS_MATRIX_WAITS_H

#include <cstdint>
#include <string>

// How long the daemon may wait for the answer to a command.
uint64_t answerWaitMs(const std::string& command);

// Between an answer, or the end of the wait for it, and the next command: at most a pass sleep of
// 500 ms, or what the GPS port needs (500 ms for gpsd to let go of it, guard times of 1000 and 1100
// ms around the escape), or 1000 ms after a PUK was accepted.
constexpr uint64_t PAUSE_MAX_MS = 2700;

// From the unlocking of a SIM until the modem has announced that it is ready: 10 s, and the last
// look of 1.1 s.
constexpr uint64_t MODEM_READY_MAX_MS = 11100;

#endif
