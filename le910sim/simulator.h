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
#include "le910sim/network_link.h"
#include "le910sim/serial_port.h"
#include "le910sim/usb_plug.h"

namespace le910sim {

struct sSimulatorOptions {
    // A port is either a pseudo-terminal with a link or a given device.
    std::string atLink;
    std::string gpsLink;
    std::string atDevice;
    std::string gpsDevice;
    std::string gadget;         // folder of the USB gadget that carries the ports; empty: none
    std::string controller;     // what the gadget is plugged into
    std::string controlPath;    // empty: none
    std::string logPath;        // empty: none
    std::string memoryPath;     // empty: none
    std::string dataInterface;  // to make; empty: none
    std::string interface;      // that is there; empty: none
    uint64_t seconds = 0;       // 0: until a signal
    nlohmann::json scenario = nlohmann::json::object();
};

// The simulated modem in real time, on pseudo-terminals or given devices and, if requested, a
// network interface.
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
    void noticeHangUp();
    void answerPings();
    void writeLog();
    void writeMemory();
    void waitForInput() const;

    cModem m_modem;
    std::unique_ptr<cSerialPort> m_atPort;
    std::unique_ptr<cSerialPort> m_gpsPort;
    std::unique_ptr<cUsbPlug> m_plug;
    std::unique_ptr<cControlSocket> m_control;
    std::unique_ptr<cNetworkLink> m_data;
    std::ofstream m_log;
    std::ofstream m_memory;
    std::string m_written;  // to it, last
    uint64_t m_seen = 0;    // exchanges, by then
    uint64_t m_endMs;
    std::chrono::steady_clock::time_point m_start;
};

}  // namespace le910sim

#endif
