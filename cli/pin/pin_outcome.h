#ifndef CLI_PIN_PIN_OUTCOME_H
#define CLI_PIN_PIN_OUTCOME_H

#include <string>

#include "cli/base/places.h"
#include "published/status_values.h"

// What the daemon publishes about a slot's SIM.
struct sSimView {
    std::string status;    // SIM_STATUS_... or another; "" not known
    std::string outcome;   // of the last operation, its PINs masked
    int pinAttempts = -1;  // left, -1 not known
    int pukAttempts = -1;

    bool isReady() const { return status == SIM_STATUS_AVAILABLE; }
    bool wantsPin() const { return status == SIM_STATUS_PIN_LOCKED; }
    bool wantsPuk() const { return status == SIM_STATUS_PUK_LOCKED; }
};

sSimView simView(const sPlaces& places, int slot);

// Whether the operation succeeded or had nothing to do, by its outcome text.
bool isSuccess(const std::string& outcome);

// Changes each time the daemon replaces the slot's status file.
std::string statusEdition(const sPlaces& places, int slot);

#endif
