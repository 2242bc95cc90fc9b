#ifndef TESTS_SUPPORT_SIMULATED_PORT_H
#define TESTS_SUPPORT_SIMULATED_PORT_H

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/modem.h"

// The simulated modem on a port of this process. Whenever the daemon sleeps, the fake clock
// advances by that time and the modem has its turn. No threads, no real time; the timers of the
// daemon run on the same clock.
class cSimulatedPort {
  public:
    enum eKind {
        SOCKET,    // descriptor() is open from the start
        TERMINAL,  // path() is a terminal that the daemon opens by itself
    };

    explicit cSimulatedPort(const nlohmann::json& scenario, eKind kind = SOCKET);
    ~cSimulatedPort();
    cSimulatedPort(const cSimulatedPort&) = delete;
    cSimulatedPort& operator=(const cSimulatedPort&) = delete;

    le910sim::cModem& modem() { return m_modem; }
    int descriptor() const { return m_daemonEnd; }
    const std::string& path() const { return m_path; }
    uint64_t nowMs() const { return m_nowUs / 1000; }

    // Lets time pass as if the daemon slept.
    void pass(uint64_t microseconds);
    // Called after each turn of the modem.
    void onTurn(std::function<void()> action) { m_onTurn = std::move(action); }
    // Removes the modem and its terminal; programs that have it open get a hang-up.
    void unplug();
    // The modem is back after unplug(), on another terminal: path() has changed.
    void plugIn();
    // The commands since the last call.
    std::vector<std::string> takeCommands();
    // Gives an order to the modem; the test fails if it is refused.
    void order(const nlohmann::json& request);

  private:
    void openSocket();
    void openTerminal();
    void turn();
    std::string readAll();
    void writeAll(const std::string& text);

    le910sim::cModem m_modem;
    std::string m_path;
    int m_daemonEnd = -1;  // SOCKET: the daemon's descriptor; TERMINAL: a second one of its end
    int m_modemEnd = -1;
    bool m_isTerminal;
    uint64_t m_nowUs = 0;
    size_t m_commandsTaken = 0;
    std::function<void()> m_onTurn;
};

#endif
