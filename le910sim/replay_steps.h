#ifndef LE910SIM_REPLAY_STEPS_H
#define LE910SIM_REPLAY_STEPS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "le910sim/recording.h"

namespace le910sim {

enum eReplayStepKind {
    eSTEP_COMMAND,  // the program sends a command
    eSTEP_BYTES,    // the modem sends bytes
    eSTEP_LEAVE,    // the port vanishes
    eSTEP_APPEAR,   // and is back
};

struct sReplayStep {
    eReplayStepKind kind = eSTEP_COMMAND;
    uint64_t ms = 0;   // a command: when it was complete
    size_t line = 0;   // of the recording
    std::string text;  // a command without its carriage return, or the bytes
    // The command has no carriage return: the escape from a stream.
    bool unterminated = false;
};

// What happened at one port, in order.
struct sReplayPort {
    bool presentAtFirst = true;
    std::vector<sReplayStep> steps;
};

std::array<sReplayPort, PORT_COUNT> replaySteps(const sRecording& recording);

// A command as it is compared: secrets and identities have stand-ins in a recording. The same text
// for a command and for the one that was recorded in its place.
std::string comparableCommand(const std::string& command);

}  // namespace le910sim

#endif
