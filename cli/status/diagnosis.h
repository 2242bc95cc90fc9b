#ifndef CLI_STATUS_DIAGNOSIS_H
#define CLI_STATUS_DIAGNOSIS_H

#include <string>
#include <vector>

#include "cli/status/signal_quality.h"
#include "cli/status/slot_report.h"

// The state of a slot and what keeps it from working; people see this first.

enum class eSlotState {
    CONNECTED,
    NOT_CONNECTED,
    DATA_OFF,  // on purpose
    STARTING,  // nothing is wrong so far
    STALE,     // the daemon runs, but no longer updates its status
    NO_DAEMON,
    NO_DATA,  // the status file cannot be used
};

// The worst first.
enum class eSeverity {
    ERROR,    // prevents the data session
    WARNING,  // data works, but not well
    NOTE,
};

struct sProblem {
    eSeverity severity;
    const char* id;    // for programs; does not change between versions
    std::string what;  // a sentence
    std::string mend;  // what to do; empty if nothing
};

struct sDiagnosis {
    eSlotState state = eSlotState::NO_DATA;
    sSignalReading signal;
    std::vector<sProblem> problems;  // the most important first
};

// False if data is off on purpose.
bool isDataWanted(eCfgDataStatus value);

sDiagnosis diagnose(const sSlotReport& report);

// Whether no answer of the modem is known since the daemon's start.
bool isModemSilent(const sStatusRecord& record);

struct sStateNames {
    const char* word;  // "NOT CONNECTED"
    const char* id;    // for programs: "not_connected"
};

sStateNames stateNames(eSlotState state);
const char* severityId(eSeverity severity);

#endif
