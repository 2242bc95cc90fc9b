#ifndef CLI_PIN_PIN_OUTCOME_H
#define CLI_PIN_PIN_OUTCOME_H

#include <string>

#include "cli/base/places.h"

// What the daemon publishes about a slot's SIM.
struct sSimView {
    std::string status;    // "Available", "PIN Locked", "PUK Locked" and the like; "" not known
    std::string outcome;   // of the last operation, its PINs masked
    int pinAttempts = -1;  // left, -1 not known
    int pukAttempts = -1;

    bool isReady() const { return status == "Available"; }
    bool wantsPin() const { return status == "PIN Locked"; }
    bool wantsPuk() const { return status == "PUK Locked"; }
};

sSimView simView(const sPlaces& places, int slot);

// Whether the operation succeeded or had nothing to do, by its outcome text.
bool isSuccess(const std::string& outcome);

// Changes each time the daemon replaces the slot's status file.
std::string statusEdition(const sPlaces& places, int slot);

#endif
