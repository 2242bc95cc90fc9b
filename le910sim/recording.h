#ifndef LE910SIM_RECORDING_H
#define LE910SIM_RECORDING_H

#include <cstdint>
#include <istream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/exchange.h"

namespace le910sim {

// A recording of what passed between a modem and the program that uses it (docs/recordings.md).

enum eRecordedKind {
    eRECORDED_WRITE,  // the program wrote to the modem
    eRECORDED_READ,   // the program read what the modem had sent
    eRECORDED_OPEN,
    eRECORDED_OPEN_FAILED,
    eRECORDED_CLOSE,
    eRECORDED_HANGUP,
    eRECORDED_MARK,  // of the program: start, configuration, what it published, ...
};

struct sRecordedEvent {
    eRecordedKind kind = eRECORDED_MARK;
    uint64_t ms = 0;  // since the recording began
    size_t line = 0;  // of the file
    ePort port = ePORT_AT;
    std::string bytes;
    nlohmann::json mark;  // the whole line of a mark
};

struct sRecording {
    std::string name;       // of the file, for messages
    nlohmann::json header;  // its first line
    std::vector<sRecordedEvent> events;
    bool torn = false;  // the last line was incomplete and is left out

    uint64_t endMs() const { return events.empty() ? 0 : events.back().ms; }
};

constexpr int RECORDING_VERSION = 1;
constexpr size_t RECORDING_MAX = 256 * 1024 * 1024;
// A read of 128 kB, each byte as \u00XX.
constexpr size_t RECORDING_LINE_MAX = 1024 * 1024;

// Throws std::runtime_error with file, line, what was found and what was expected. Keys and events
// that are not known are left out. A further first line may follow anywhere. With the same "began"
// the recording goes on in another file. With another one it goes on in another run of the program,
// whose times are counted on from the end of the run before. All are of the same slot.
sRecording readRecording(const std::string& path);
sRecording readRecording(std::istream& input, const std::string& name);

// The line of an event, with its line end; one of a mark is its JSON. For tools that change
// recordings.
std::string recordedLine(const sRecordedEvent& event);

}  // namespace le910sim

#endif
