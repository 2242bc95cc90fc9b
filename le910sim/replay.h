#ifndef LE910SIM_REPLAY_H
#define LE910SIM_REPLAY_H

#include <array>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "le910sim/paced_output.h"
#include "le910sim/replay_steps.h"

namespace le910sim {

// The modem of a recording. Like cModem it has no files and no clock: bytes and the time go in,
// bytes come out. Times are milliseconds since the start.
//
// It keeps its place in the recording. The command that was recorded there is answered as it was,
// after the same time, and then comes what the modem sent by itself. A command that was recorded
// somewhere else moves the place forward if the program only left something out; otherwise it gets
// a copy of the nearest earlier answer. One that was never recorded gets ERROR.
class cReplay {
  public:
    // speed: how many times faster than recorded. strict: the first command that is not the
    // recorded one ends the replay.
    explicit cReplay(const sRecording& recording, double speed = 1, bool strict = false);

    // Bytes that the program wrote to a port at nowMs.
    void receive(ePort port, const std::string& bytes, uint64_t nowMs);
    void advance(uint64_t nowMs);
    // What is due by now.
    std::string takeOutput(ePort port);
    bool isPresent(ePort port) const { return m_ports[port].present; }
    // When something that was recorded at a time happens in this replay.
    uint64_t replayedMs(uint64_t recordedMs) const;

    // Everything that was recorded has been replayed.
    bool isOver() const;
    // Where the replay stands, if it is not over: file, line and what is recorded there.
    std::string place() const;
    // Every command received, in order; those of the GPS port begin with "gps ".
    const std::vector<std::string>& commands() const { return m_commands; }
    // Commands for which the recording has no answer, each once.
    const std::vector<std::string>& unknown() const { return m_unknown; }
    // How many commands were not the recorded ones at their place.
    size_t differences() const { return m_differences; }
    // What was expected at the first of them, and what came, with the lines around it; empty: none.
    const std::string& firstDifference() const { return m_firstDifference; }
    // Strict, and a command was not the recorded one.
    bool isStopped() const { return m_strict && m_differences != 0; }

  private:
    struct sPort {
        sReplayPort recorded;
        std::vector<std::string> comparable;  // of each step that is a command
        std::set<std::string> unterminated;   // commands without a carriage return
        size_t next = 0;                      // place among the steps
        bool present = true;
        std::string input;  // of a command that is not complete
        std::string ready;  // for the program
        cPacedOutput copies;
        size_t misses = 0;  // commands since the last one that was the recorded one
        bool echoes = false;
    };

    void preparePort(sPort& port);
    void takeByte(ePort which, char byte);
    bool isUnterminated(const sPort& port) const;
    void takeCommand(ePort which, const std::string& command);
    void differ(ePort which, const std::string& seen);
    size_t nextCommand(const sPort& port, size_t from) const;
    size_t findAhead(const sPort& port, const std::string& command) const;
    size_t findBehind(const sPort& port, const std::string& command) const;
    size_t findAnywhere(const sPort& port, const std::string& command) const;
    void take(sPort& port, size_t step);
    void copyAnswer(sPort& port, size_t step);
    void answerUnknown(sPort& port, ePort which, const std::string& command);
    void advancePort(ePort which);
    void leaveOverdue(ePort which);
    void run(sPort& port, const sReplayStep& step);
    std::string describe(const sPort& port, size_t step, const std::string& seen) const;

    std::string m_name;
    double m_speed;
    bool m_strict;
    std::array<sPort, PORT_COUNT> m_ports;
    uint64_t m_nowMs = 0;
    // The last command that was the recorded one: when it was recorded and when it came now.
    uint64_t m_recordedMs = 0;
    uint64_t m_anchorMs = 0;

    std::vector<std::string> m_commands;
    std::vector<std::string> m_unknown;
    size_t m_differences = 0;
    std::string m_firstDifference;
};

}  // namespace le910sim

#endif
