#ifndef TESTS_SUPPORT_GPS_TERMINAL_H
#define TESTS_SUPPORT_GPS_TERMINAL_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/modem.h"

// The GPS port of the simulated modem as a terminal that the daemon opens by its path. Whenever the
// daemon sleeps, the fake clock advances by that time and the modem has its turn. No threads, no
// real time.
class cGpsTerminal {
  public:
    explicit cGpsTerminal(const nlohmann::json& scenario = nlohmann::json::object());
    ~cGpsTerminal();
    cGpsTerminal(const cGpsTerminal&) = delete;
    cGpsTerminal& operator=(const cGpsTerminal&) = delete;

    const std::string& path() const { return m_path; }
    le910sim::cModem& modem() { return m_modem; }
    uint64_t nowMs() const { return m_nowUs / 1000; }

    // What the daemon sent since the last call: commands without their carriage return, and "+++".
    std::vector<std::string> takeSent();
    // The sleeps since the last call, without waits for an answer (those last 10 ms).
    std::vector<unsigned> takePausesUs();
    // What the modem has sent and the daemon has not read.
    std::string takeUnread();

    // Lets time pass as if the daemon slept.
    void pass(uint64_t microseconds);
    // Gives an order to the modem; the test fails if it is refused.
    void order(const nlohmann::json& request);
    // A fault of the GPS port for the next count lines that match; see the simulator's faults.
    void fault(const std::string& line, nlohmann::json what, int count = 1);

  private:
    static void onSleep(unsigned microseconds);
    static uint64_t clockMs();
    void takeTurn();
    void note(const std::string& bytes);
    void deliver(const std::string& text);

    static cGpsTerminal* s_current;
    le910sim::cModem m_modem;
    std::string m_path;
    int m_modemEnd = -1;
    int m_daemonEnd = -1;  // a second descriptor of the daemon's end, so that there is no hang-up
    uint64_t m_nowUs = 0;
    std::string m_line;
    std::vector<std::string> m_sent;
    std::vector<unsigned> m_pausesUs;
};

#endif
