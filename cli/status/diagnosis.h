#ifndef CLI_STATUS_DIAGNOSIS_H
#define CLI_STATUS_DIAGNOSIS_H

#include <string>
#include <vector>

#include "cli/status/signal_quality.h"
#include "cli/status/slot_report.h"

// What people are told first: how the slot is, and what keeps it from working.

enum class eSlotState {
    CONNECTED,
    NOT_CONNECTED,
    DATA_OFF,  // as somebody wants it
    STARTING,  // on its way, nothing is wrong so far
    STALE,     // the daemon runs and is silent
    NO_DAEMON,
    NO_DATA,  // the status file cannot be used
};

// The worst first.
enum class eSeverity {
    ERROR,    // it keeps the data session from working
    WARNING,  // it works, but not as it should
    NOTE,
};

struct sProblem {
    eSeverity severity;
    const char* id;    // for programs, does not change between versions
    std::string what;  // a sentence
    std::string mend;  // what to do, empty where there is nothing to do
};

struct sDiagnosis {
    eSlotState state = eSlotState::NO_DATA;
    sSignalReading signal;
    std::vector<sProblem> problems;  // the one that matters most first
};

sDiagnosis diagnose(const sSlotReport& report);

struct sStateNames {
    const char* word;  // "NOT CONNECTED"
    const char* id;    // for programs: "not_connected"
};

sStateNames stateNames(eSlotState state);
const char* severityId(eSeverity severity);

#endif
