#ifndef CLI_DOCTOR_DOCTOR_HOST_CHECKS_H
#define CLI_DOCTOR_DOCTOR_HOST_CHECKS_H

#include <vector>

#include "cli/doctor/finding.h"

// What keeps a host from working.
tFindings checkShell(const sPlaces& places, const sSlotSetup& setup);
tFindings checkTools(const sPlaces& places, const sSlotSetup& setup);
tFindings checkSlotsFile(const sPlaces& places, const sSlotSetup& setup);
tFindings checkSpace(const sPlaces& places, const sSlotSetup& setup);
tFindings checkClock(const sPlaces& places, const sSlotSetup& setup);
tFindings checkBoot(const sPlaces& places, const sSlotSetup& setup);
tFindings checkMessages(const sPlaces& places, const sSlotSetup& setup);
tFindings checkRequests(const sPlaces& places, const sSlotSetup& setup);

// All of them, in the order of the screen.
const std::vector<tCheck>& hostChecks();

#endif
