#ifndef LE910SIM_RECORD_SERVER_H
#define LE910SIM_RECORD_SERVER_H

#include <chrono>
#include <csignal>
#include <string>

#include "le910sim/device_port.h"
#include "le910sim/pty.h"
#include "recording/hidden_exchange.h"
#include "recording/ring_file.h"

namespace le910sim {

struct sRecordOptions {
    std::string device;  // the modem's AT port
    std::string link;    // of the pseudo-terminal for the program
    std::string path;    // of the recording
    bool keepIdentities = false;
    uint64_t seconds = 0;  // 0: until a signal
};

// Sits between a modem and any program, passes on what they say, and records it.
class cRecordServer {
  public:
    // Throws std::runtime_error.
    explicit cRecordServer(const sRecordOptions& options);

    // Runs until stop becomes non-zero or the time is over. If the recording cannot be written any
    // more, it ends with a notice, and program and modem go on; then the result is false.
    bool run(const volatile std::sig_atomic_t& stop);

  private:
    uint64_t nowMs() const;
    void pass();
    void comeAndGo();
    void passOn(cSerialPort& from, cSerialPort& to, eRecordedWay way);
    void addPort(const char* event);
    void addMark(const std::string& rest);
    void write();

    sRecordOptions m_options;
    cDevicePort m_modem;
    cPty m_program;
    cHiddenExchange m_exchange;
    cRingFile m_file;
    std::chrono::steady_clock::time_point m_start;
};

}  // namespace le910sim

#endif
