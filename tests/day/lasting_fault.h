#ifndef TESTS_DAY_LASTING_FAULT_H
#define TESTS_DAY_LASTING_FAULT_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/matrix/cell.h"

// A fault that stays.
struct sLastingFault {
    std::string name;
    nlohmann::json scenario = nlohmann::json::object();
    nlohmann::json orders = nlohmann::json::array();  // to the modem, when it begins
    unsigned fromS = 0;
    void (*breakHost)() = nullptr;  // before the daemon starts
};

constexpr unsigned RUNS_MAX = 6;

// The lines that it caused at mask 0 in its first twenty minutes and in the half hour after that.
struct sLastingOutcome {
    unsigned firstLines;
    unsigned laterLines;
    unsigned runs;  // of the daemon, which a service manager starts again
    unsigned runLines[RUNS_MAX];
    unsigned lastRunS;
    unsigned seconds;  // a daemon that ends again and again is not watched to the end
    bool finished;
};

constexpr unsigned FIRST_S = 20 * 60;
constexpr unsigned LATER_S = 30 * 60;
constexpr unsigned DAY_S = 24 * 60 * 60;

// True if the daemon ends again and again; false if its last run went on, even if earlier runs
// ended.
bool isStartedAgainAndAgain(const sLastingOutcome& outcome);

// The lines of a whole day at the same rate.
unsigned linesOfDay(const sLastingOutcome& outcome);

// Faults of commands: each command of a healthy day with each way to fail.
std::vector<sLastingFault> commandFaults(const std::vector<sSent>& healthy);
// All other faults.
std::vector<sLastingFault> otherFaults();

// Runs the daemon under a fault. Meant for a process of its own.
sLastingOutcome runLastingFault(const sLastingFault& fault, bool showLog);

#endif
