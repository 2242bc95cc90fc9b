#ifndef LE910SIM_FAULTS_H
#define LE910SIM_FAULTS_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace le910sim {

// Misbehaviour that a test orders for some commands.

enum eFaultKind {
    // These answer in the modem's place; the first that matches wins.
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
    bool execute = false;  // the command takes effect although its answer is replaced
    bool echo = true;
    int skip = 0;          // matches that are let through first
    int left = -1;         // matches that are still hit, -1 without end
    uint64_t untilMs = 0;  // 0 without end
    int hits = 0;

    bool replaces() const { return kind <= eFAULT_HANGUP; }
};

// Reads a fault from an order; throws std::invalid_argument.
sFault readFault(const nlohmann::json& order, const std::string& where, uint64_t nowMs);
nlohmann::json faultToJson(const sFault& fault);

class cFaultList {
  public:
    int add(sFault fault);
    // Removes one, or all with id 0. How many went.
    size_t remove(int id);
    // The faults that hit this command, counted as hit.
    std::vector<sFault> hit(const std::string& port, const std::string& command, bool dataStage,
                            uint64_t nowMs);
    const std::vector<sFault>& all() const { return m_faults; }

  private:
    std::vector<sFault> m_faults;
    int m_nextId = 1;
};

// An answer as it goes out: portions with the wait before each.
struct sPortion {
    uint64_t waitMs;
    std::string bytes;
};
std::vector<sPortion> shapeAnswer(const std::vector<sFault>& faults, const std::string& answer);
// n bytes from a seed; none of them is a line end, so garbage does not make a line.
std::string garbage(size_t count, uint32_t seed);

}  // namespace le910sim

#endif
