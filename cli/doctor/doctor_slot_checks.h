#ifndef CLI_DOCTOR_DOCTOR_SLOT_CHECKS_H
#define CLI_DOCTOR_DOCTOR_SLOT_CHECKS_H

#include <vector>

#include "cli/doctor/finding.h"

// What keeps a slot from working.
tFindings checkInstance(const sPlaces& places, const sSlotSetup& setup);
tFindings checkStatusFile(const sPlaces& places, const sSlotSetup& setup);
tFindings checkDevice(const sPlaces& places, const sSlotSetup& setup);
tFindings checkHolders(const sPlaces& places, const sSlotSetup& setup);
tFindings checkInterface(const sPlaces& places, const sSlotSetup& setup);
tFindings checkConfiguration(const sPlaces& places, const sSlotSetup& setup);
tFindings checkPinFiles(const sPlaces& places, const sSlotSetup& setup);
tFindings checkOverride(const sPlaces& places, const sSlotSetup& setup);
tFindings checkGps(const sPlaces& places, const sSlotSetup& setup);
tFindings checkPowerSwitch(const sPlaces& places, const sSlotSetup& setup);

// All of them, in the order of the screen.
const std::vector<tCheck>& slotChecks();

#endif
