#ifndef LE910SIM_PORT_H
#define LE910SIM_PORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "le910sim/commands.h"
#include "le910sim/faults.h"
#include "le910sim/paced_output.h"

namespace le910sim {

// Required silence before and after +++, the escape of ITU-T V.250: 1 second on these modems.
constexpr uint64_t ESCAPE_GUARD_MS = 1000;

enum ePortMode {
    eMODE_COMMAND,
    eMODE_PROMPT,  // reads the text of a message
    eMODE_NMEA,    // streams positions, ignores commands
    eMODE_CALL,    // carries a data call, ignores commands
};

// A command line in progress: commands run one after the other and may wait in between.
struct sRunningLine {
    std::string line;
    std::string echo;
    std::vector<sCommand> commands;
    size_t next = 0;
    sReply reply;
    sEffects effects;
    std::vector<sFault> faults;
    uint64_t resumeMs = 0;
};

// In these modes input is data but for the escape.
inline bool isStream(ePortMode mode) {
    return mode == eMODE_NMEA || mode == eMODE_CALL;
}

struct sPrompt {
    int length = -1;     // octets of the PDU after the service centre; -1 in text mode
    std::string number;  // of text mode
    std::string command;
    std::string text;
    uint64_t sinceMs = 0;
    bool deaf = false;  // a fault dropped the text; only ESC ends the prompt
};

// One of the modem's two serial ports.
struct sPort {
    std::string name;
    sPortProfile profile;
    ePortMode mode = eMODE_COMMAND;
    std::string input;  // not processed yet
    std::string line;   // the command line so far
    bool lineTooLong = false;
    std::string lastCommand;
    std::optional<sRunningLine> running;
    uint64_t busyUntilMs = 0;
    sPrompt prompt;
    cPacedOutput output;

    // NMEA stream
    uint64_t nextEpochMs = 0;

    // The escape from stream and call
    uint64_t lastInputMs = 0;
    int plusCount = 0;
};

}  // namespace le910sim

#endif
