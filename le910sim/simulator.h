#ifndef LE910SIM_SIMULATOR_H
#define LE910SIM_SIMULATOR_H

#include <chrono>
#include <csignal>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "le910sim/control_socket.h"
#include "le910sim/modem.h"
#include "le910sim/pty.h"
#include "le910sim/tun_interface.h"

namespace le910sim {

struct sSimulatorOptions {
    std::string atLink;
    std::string gpsLink;
    std::string controlPath;    // empty: none
    std::string logPath;        // empty: none
    std::string dataInterface;  // empty: none
    uint64_t seconds = 0;       // 0: until a signal
    nlohmann::json scenario = nlohmann::json::object();
};

// The simulated modem in real time, on pseudo-terminals and, if requested, a network interface.
class cSimulator {
  public:
    // Throws std::invalid_argument for a wrong scenario, std::runtime_error for other failures.
    explicit cSimulator(const sSimulatorOptions& options);

    // Runs until stop becomes non-zero or the time is over.
    void run(const volatile std::sig_atomic_t& stop);

  private:
    uint64_t nowMs() const;
    void pass();
    void movePorts();
    void answerPings();
    void writeLog();
    void waitForInput() const;

    cModem m_modem;
    cPty m_atPort;
    cPty m_gpsPort;
    std::unique_ptr<cControlSocket> m_control;
    std::unique_ptr<cTunInterface> m_data;
    std::ofstream m_log;
    uint64_t m_endMs;
    std::chrono::steady_clock::time_point m_start;
};

}  // namespace le910sim

#endif
