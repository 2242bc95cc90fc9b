#ifndef TESTS_UNIT_LE910SIM_TEST_DRIVER_H
#define TESTS_UNIT_LE910SIM_TEST_DRIVER_H

#include <string>
#include <utility>

#include "le910sim/modem.h"

namespace le910sim {

using nlohmann::json;

// Final result codes as the modem sends it.
inline const std::string OK = "\r\nOK\r\n";
inline std::string cme(int number) {
    return "\r\n+CME ERROR: " + std::to_string(number) + "\r\n";
}

// Talks to a simulated modem as the daemon does: the text of a command, 10 ms later its CR, then
// reads in steps of 10 ms of a clock of its own.
class cModemDriver {
  public:
    // The scenario as in a file; order() below accepts the same text.
    explicit cModemDriver(const std::string& scenario = "{}") : modem(json::parse(scenario)) {}

    std::string at(const std::string& command, uint64_t waitMs = 0) {
        send(command);
        return readAt(waitMs);
    }
    // Without the echo of the command.
    std::string reply(const std::string& command, uint64_t waitMs = 0) {
        const std::string text = at(command, waitMs);
        const std::string echo = command + "\r";
        return text.compare(0, echo.size(), echo) == 0 ? text.substr(echo.size()) : text;
    }
    void send(const std::string& command) {
        modem.receiveAt(command, nowMs);
        wait(10);
        modem.receiveAt("\r", nowMs);
    }
    std::string readAt(uint64_t waitMs) {
        std::string text = modem.takeAtOutput();
        for (uint64_t passed = 0; passed < waitMs; passed += 10) {
            wait(10);
            text += modem.takeAtOutput();
        }
        return text;
    }
    std::string gps(const std::string& bytes, uint64_t waitMs = 0) {
        modem.receiveGps(bytes, nowMs);
        wait(waitMs);
        return modem.takeGpsOutput();
    }
    void wait(uint64_t ms) {
        nowMs += ms;
        modem.advance(nowMs);
    }
    json order(const std::string& request) { return modem.control(json::parse(request)); }
    json state() { return order(R"({"op": "dump"})").at("state"); }

    cModem modem;
    uint64_t nowMs = 0;
};

}  // namespace le910sim

#endif
