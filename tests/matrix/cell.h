#ifndef TESTS_MATRIX_CELL_H
#define TESTS_MATRIX_CELL_H

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/matrix/faulty_modem.h"

// A day in the life of a gateway: how the modem starts, what lies in the files, what happens.
enum eDay {
    eDAY_USUAL,          // bring-up, session, positions, messages in and out
    eDAY_GPS_OFF,        // the same, with a receiver that has to be switched on first
    eDAY_PIN,            // the SIM wants the PIN that the file holds
    eDAY_WRONG_PIN,      // ... another than the file holds
    eDAY_WRONG_OLD_PIN,  // the PIN is to be changed, and the one in the file is wrong
    eDAY_WRONG_PIN_OFF,  // the lock is to be switched off, and the PIN in the file is wrong
    eDAY_WRONG_PUK,      // the SIM wants another PUK than the file holds
};

// What befalls the modem and the daemon on the days with a PIN, beside the fault.
enum eTrouble {
    eNO_TROUBLE,
    ePOWER_CYCLE,
    eCARD_OUT,
    ePORT_LOST,
    eRESTART,  // of the daemon
    eALL_TROUBLE,
};

struct sOutcome;

struct sCell {
    std::string name;
    eDay day = eDAY_USUAL;
    eTrouble trouble = eNO_TROUBLE;
    bool faulty = false;
    bool whileEnding = false;  // the fault meets the daemon on its way out; it is started once more
    // Unsolicited lines beside the answers: the day has to be as the healthy one.
    std::shared_ptr<const sOutcome> healthy;
    sFaultPlan plan;
    uint64_t latencyMs = 0;
    uint64_t boundMs = 0;  // from the end of the fault until CONNECTED
    int descriptors = 0;   // of a healthy run; 0: not compared
};

struct sOutcome {
    std::vector<std::string> failures;  // empty: passed
    std::vector<int> statuses;          // with which the daemon left, the last one on request
    uint64_t recoveryMs = 0;            // from the end of the fault until CONNECTED
    uint64_t delayMs = 0;               // the longest beyond what the commands may take
    std::string delayedBehind;
    int descriptors = 0;
    int wrongPins = 0;  // attempts with the same one, of the one that was tried most
    int wrongPuks = 0;
    std::string transcript;
    std::vector<sSent> sent;
    std::string published;     // status and messages at the end of the day
    size_t interjections = 0;  // unsolicited lines beside answers
    uint64_t excessMs = 0;     // the longest that a command came later than on the healthy day
};

// Runs the daemon through the day of a cell. Meant for a process of its own: it takes the process's
// view of the file system, its clock and its state.
sOutcome runCell(const sCell& cell);

nlohmann::json toJson(const sOutcome& outcome);
sOutcome outcomeFromJson(const nlohmann::json& json);

// Bytes as they can be shown.
std::string printable(const std::string& bytes, size_t most);

#endif
