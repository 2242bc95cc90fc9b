#ifndef LE910SIM_FAULTS_H
#define LE910SIM_FAULTS_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace le910sim {

// Misbehaviour that a test orders for some commands.

enum eFaultKind {
    // These replace the modem's answer; the first that matches wins.
    eFAULT_SILENCE,
    eFAULT_ERROR,
    eFAULT_CME,
    eFAULT_CMS,
    eFAULT_ANSWER,
    eFAULT_RAW,
    eFAULT_HANGUP,
    // These change the shape of an answer; all that match apply.
    eFAULT_DELAY,
    eFAULT_PIECES,
    eFAULT_GARBAGE,
    eFAULT_URC,
};

enum eFaultPlace { ePLACE_BEFORE, ePLACE_INSIDE, ePLACE_AFTER, ePLACE_INSTEAD };

struct sFault {
    int id = 0;
    std::string port;   // "at", "gps", empty for both
    std::string match;  // the command line
    bool prefix = false;
    bool dataStage = false;  // the text after the prompt of the matched command
    eFaultKind kind = eFAULT_SILENCE;
    int number = 0;        // CME, CMS
    uint64_t delayMs = 0;  // delay, gap between pieces, absence of the port
    int pieces = 2;
    size_t bytes = 0;  // garbage
    uint32_t seed = 1;
    eFaultPlace place = ePLACE_BEFORE;
    std::vector<std::string> lines;  // answer, unsolicited line
    std::string final;               // of an answer; empty: none
    std::string raw;
    bool execute = false;  // the command is executed although its answer is replaced
    bool echo = true;
    int skip = 0;          // the first matches, which are not hit
    int left = -1;         // number of matches still to hit, -1 for no limit
    uint64_t untilMs = 0;  // 0 for no limit
    int hits = 0;

    bool replaces() const { return kind <= eFAULT_HANGUP; }
};

// Reads a fault from an order; throws std::invalid_argument.
sFault readFault(const nlohmann::json& order, const std::string& where, uint64_t nowMs);
nlohmann::json faultToJson(const sFault& fault);

class cFaultList {
  public:
    int add(sFault fault);
    // Removes one fault, or all with id 0. Returns how many were removed.
    size_t remove(int id);
    // Returns the faults that hit this command, and counts the hit.
    std::vector<sFault> hit(const std::string& port, const std::string& command, bool dataStage,
                            uint64_t nowMs);
    const std::vector<sFault>& all() const { return m_faults; }

  private:
    std::vector<sFault> m_faults;
    int m_nextId = 1;
};

// A piece of an answer as it is sent, with the wait before it.
struct sPortion {
    uint64_t waitMs;
    std::string bytes;
};
std::vector<sPortion> shapeAnswer(const std::vector<sFault>& faults, const std::string& answer);
// count bytes from a seed, without line ends, so that garbage does not form a line.
std::string garbage(size_t count, uint32_t seed);

}  // namespace le910sim

#endif
