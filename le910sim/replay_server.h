#ifndef LE910SIM_REPLAY_SERVER_H
#define LE910SIM_REPLAY_SERVER_H

#include <array>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>

#include "le910sim/replay.h"
#include "le910sim/serial_port.h"

namespace le910sim {

struct sReplayOptions {
    std::string path;  // of the recording
    double speed = 1;
    bool strict = false;
    // Each port is either a pseudo-terminal with a link or a given device.
    std::array<std::string, PORT_COUNT> links;
    std::array<std::string, PORT_COUNT> devices;
    uint64_t seconds = 0;  // 0: until a signal
};

// Replays a recording in real time.
class cReplayServer {
  public:
    // Throws std::runtime_error.
    cReplayServer(const sReplayOptions& options, const sRecording& recording);

    // Runs until stop becomes non-zero, the time is over or, if the replay is strict, the program
    // differs from the recording. Prints "over" when everything was replayed; otherwise says at the
    // end how far it came. False after a difference of a strict replay.
    bool run(const volatile std::sig_atomic_t& stop);

  private:
    uint64_t nowMs() const;
    void pass();
    void serve(ePort which);
    void report();
    void reportEnd() const;

    std::string m_path;
    cReplay m_replay;
    std::array<std::unique_ptr<cSerialPort>, PORT_COUNT> m_ports;
    uint64_t m_endMs;
    std::chrono::steady_clock::time_point m_start;
    size_t m_unknownSaid = 0;
    bool m_overSaid = false;
};

}  // namespace le910sim

#endif
