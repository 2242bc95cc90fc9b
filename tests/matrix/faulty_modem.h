#ifndef TESTS_MATRIX_FAULTY_MODEM_H
#define TESTS_MATRIX_FAULTY_MODEM_H

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "le910sim/modem.h"
#include "tests/matrix/faults.h"
#include "tests/support/fake_time.h"
#include "tests/support/modem_terminal.h"

enum eModemPort : size_t { eAT_PORT, eGPS_PORT };

// The class of a line that faults refer to: each message at a prompt has a number of its own.
std::string commandClass(const std::string& line);

// A command as the daemon sent it, and its answer.
struct sSent {
    uint64_t timeMs = 0;
    eModemPort port = eAT_PORT;
    std::string command;
    std::string body;     // the modem's answer without its echo
    std::string arrived;  // what the daemon gets, if a fault changed it
    bool faulty = false;
    bool ending = false;   // the daemon was asked to end
    uint64_t apartMs = 0;  // delay of its answer by interjected lines
};

// A fault of one command, or of all (command empty).
struct sFaultPlan {
    eModemPort port = eAT_PORT;
    std::string command;
    int occurrence = 0;    // number of matches before the fault begins
    uint64_t fromMs = 0;   // no fault before this time
    uint64_t lastsMs = 0;  // duration from the first fault; 0: only that one
    size_t oneIn = 1;      // the fault hits one in so many matching commands
    eFault fault = eSILENCE;
    uint64_t seed = 0;
    std::shared_ptr<const std::vector<std::string>> others;  // answers to other commands
    // For eINTERJECTION. Without a line each command gets the next one that is possible for it.
    eInterjectionPlace place = eBEFORE_ANSWER;
    std::string line;
};

// The simulated modem on two terminals, with faults between it and the daemon.
class cFaultyModem : public cFakeTime {
  public:
    cFaultyModem(const nlohmann::json& scenario, const std::string& atPath,
                 const std::string& gpsPath);

    void plan(const sFaultPlan& fault) { m_plan = fault; }
    // Delay before each answer; 0 at first.
    void setLatency(uint64_t latencyMs) { m_latencyMs = latencyMs; }
    void noteEnding() { m_ending = true; }
    void noteStart() {
        m_ending = false;
        m_wasAway = true;
    }

    bool portsPresent() const { return m_modem.portsPresent(); }
    // Throws if the modem refuses the order.
    nlohmann::json order(const nlohmann::json& request);
    // Does nothing if the modem is away.
    void powerCycle(uint64_t awayMs) { order({{"op", "restart"}, {"away_ms", awayMs}}); }

    const std::vector<sSent>& sent() const { return m_sent; }
    const std::vector<std::string>& problems() const { return m_modem.problems(); }
    bool faultBegan() const { return m_firstHitMs.has_value(); }
    // The fault cannot have any further effect.
    bool isFaultOver() const;
    uint64_t faultEndMs() const { return m_lastEffectMs; }
    // Attempts that the SIM counted as wrong, for each PIN, and for the PUK.
    const std::map<std::string, int>& wrongPins() const { return m_wrongPins; }
    int wrongPuks() const { return m_wrongPuks; }
    // The longest time that a command came later than its predecessor may take, with the ports
    // present all the time; and the predecessor.
    uint64_t longestDelayMs() const { return m_longestDelayMs; }
    const std::string& delayedAfter() const { return m_delayedAfter; }
    // Commands that the daemon sent before it had read the whole answer to the previous one.
    const std::vector<std::string>& shifted() const { return m_shifted; }
    // How many lines were interjected.
    size_t interjections() const { return m_interjections; }

  private:
    struct sEnd {
        explicit sEnd(const std::string& path) : terminal(path) {}
        cModemTerminal terminal;
        std::string line;
        std::string held;  // of a late answer
        uint64_t heldMs = 0;
        uint64_t answerEnd = 0;  // in emitted bytes: where the last answer ends
        std::string answered;    // the command of that answer
    };

    void turn() override;
    void comeAndGo();
    void take(eModemPort port, const std::string& bytes);
    void takeLine(eModemPort port, const std::string& line, const std::string& bytes);
    std::string ask(eModemPort port, const std::string& bytes);
    std::string outputOf(eModemPort port);
    void emit(sEnd& end, const std::string& bytes, uint64_t delayMs);
    const sFaultRow* faultOf(eModemPort port, const std::string& command);
    void spoil(eModemPort port, const sFaultRow& row, sSent& sent, const std::string& whole);
    void interject(eModemPort port, sSent& sent, const std::string& whole);
    void noteShift(const sEnd& end, const std::string& command);
    void noteDelay(const std::string& command);
    void countAttempts(const std::string& line, const std::function<void()>& action);

    le910sim::cModem m_modem;
    std::array<sEnd, 2> m_ends;
    uint64_t m_latencyMs = 0;
    uint64_t m_turnMs = 0;  // of the last turn

    std::optional<sFaultPlan> m_plan;
    std::mt19937_64 m_random;
    int m_matches = 0;
    std::optional<uint64_t> m_firstHitMs;
    uint64_t m_lastEffectMs = 0;

    std::vector<sSent> m_sent;
    bool m_ending = false;
    std::map<std::string, int> m_wrongPins;
    int m_wrongPuks = 0;
    uint64_t m_lastSentMs = 0;
    bool m_wasAway = true;  // since the last command
    uint64_t m_longestDelayMs = 0;
    std::string m_delayedAfter;
    std::vector<std::string> m_shifted;
    size_t m_interjections = 0;
};

#endif
