#ifndef TESTS_MATRIX_CELL_H
#define TESTS_MATRIX_CELL_H

#include <cstdint>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "le910sim/text.h"
#include "tests/matrix/faulty_modem.h"

// A day of a gateway: how the modem starts, what is in the files, what happens.
enum eDay {
    eDAY_USUAL,          // bring-up, session, positions, messages in and out
    eDAY_GPS_OFF,        // the same, with a receiver that must be enabled first
    eDAY_PIN,            // the file contains the right PIN
    eDAY_WRONG_PIN,      // the file contains a wrong PIN
    eDAY_WRONG_OLD_PIN,  // a request to change the PIN, but the PIN in the file is wrong
    eDAY_WRONG_PIN_OFF,  // a request to disable the lock, but the PIN in the file is wrong
    eDAY_WRONG_PUK,      // the file contains a wrong PUK
};

// What else happens to modem and daemon on the days with a PIN.
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
    // The day is recorded, and the recording is replayed: the daemon must send the same commands
    // and publish the same.
    bool replayed = false;
    bool whileEnding = false;  // the fault hits the daemon's exit; then it is started once more
    // With unsolicited lines beside the answers the day must be like the healthy one.
    std::shared_ptr<const sOutcome> healthy;
    sFaultPlan plan;
    uint64_t latencyMs = 0;
    uint64_t boundMs = 0;  // from the end of the fault until CONNECTED
    int descriptors = 0;   // of a healthy run; 0: not compared
};

struct sOutcome {
    std::vector<std::string> failures;  // empty: passed
    std::vector<int> statuses;          // exit statuses of the daemon, the last one on request
    uint64_t recoveryMs = 0;            // from the end of the fault until CONNECTED
    uint64_t delayMs = 0;               // longest time that a command took beyond its limit
    std::string delayedAfter;
    int descriptors = 0;
    int wrongPins = 0;  // attempts with the wrong PIN that was tried most often
    int wrongPuks = 0;
    std::string transcript;
    std::vector<sSent> sent;
    std::string published;     // status and messages at the end of the day
    size_t interjections = 0;  // unsolicited lines beside answers
    uint64_t excessMs = 0;     // longest delay of a command compared with the healthy day
};

// Runs the daemon through the day of a cell. Meant for a process of its own, because it changes the
// process's view of the file system, its clock and its state.
sOutcome runCell(const sCell& cell);

nlohmann::json toJson(const sOutcome& outcome);
sOutcome outcomeFromJson(const nlohmann::json& json);

using le910sim::printable;

#endif
