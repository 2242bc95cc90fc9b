#ifndef LE910SIM_MODEM_H
#define LE910SIM_MODEM_H

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/exchange.h"

namespace le910sim {

class cModemCore;

// A Telit LE910 with its SIM cards and its network. It has no threads, files or clock: the caller
// passes bytes and the time and gets bytes back. Times are milliseconds since the start.
class cModem {
  public:
    // Throws std::invalid_argument that names the wrong key.
    explicit cModem(const nlohmann::json& scenario = nlohmann::json::object());
    ~cModem();
    cModem(const cModem&) = delete;
    cModem& operator=(const cModem&) = delete;

    // Bytes that the host wrote to a port at nowMs.
    void receiveAt(const std::string& bytes, uint64_t nowMs);
    void receiveGps(const std::string& bytes, uint64_t nowMs);
    // Does what is due up to nowMs: timeline, delayed answers, unsolicited lines, restarts.
    void advance(uint64_t nowMs);
    // The output that is due by now.
    std::string takeAtOutput();
    std::string takeGpsOutput();
    // False while the modem restarts or has hung up.
    bool portsPresent() const;
    // Executes an order as on the control socket and returns the answer.
    nlohmann::json control(const nlohmann::json& request);

    const std::vector<sExchange>& exchanges() const;
    // Every line received on the AT port, in order, without CR. Text sent to a prompt counts as a
    // line and keeps its Ctrl-Z or ESC.
    std::vector<std::string> commands() const;
    // Unknown or badly formed commands, with the reason.
    const std::vector<std::string>& problems() const;

    // How many there were, also those that exchanges() does not hold any more.
    uint64_t exchangeCount() const;
    // What it keeps when its power is cut, as sections of a scenario.
    nlohmann::json memory() const;
    // The events since the last call, one object each, for a log file.
    std::vector<nlohmann::json> takeLog();
    // True if an active context has this address, so that the network would carry its packets.
    bool ownsAddress(const std::string& address) const;
    bool answersPings() const;

  private:
    std::unique_ptr<cModemCore> m_core;
};

}  // namespace le910sim

#endif
