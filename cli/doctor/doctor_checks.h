#ifndef CLI_DOCTOR_DOCTOR_CHECKS_H
#define CLI_DOCTOR_DOCTOR_CHECKS_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "cli/doctor/slot_setup.h"

// What keeps a host from working. Checks change nothing.

enum class eHealth {
    FINE,
    NOTE,    // worth knowing; may be intended
    BROKEN,  // something does not work
};

struct sFinding {
    eHealth health;
    std::string subject;
    std::string text;
    std::string mend;  // what to do; "" if fine
};

using tFindings = std::vector<sFinding>;

// Of the host.
tFindings checkShell(const sPlaces& places, const sSlotSetup& setup);
tFindings checkTools(const sPlaces& places, const sSlotSetup& setup);
tFindings checkSlotsFile(const sPlaces& places, const sSlotSetup& setup);
tFindings checkSpace(const sPlaces& places, const sSlotSetup& setup);
tFindings checkClock(const sPlaces& places, const sSlotSetup& setup);
tFindings checkBoot(const sPlaces& places, const sSlotSetup& setup);
tFindings checkMessages(const sPlaces& places, const sSlotSetup& setup);
tFindings checkRequests(const sPlaces& places, const sSlotSetup& setup);
tFindings checkResolver(const sPlaces& places, const sSlotSetup& setup);

// Of a slot.
tFindings checkInstance(const sPlaces& places, const sSlotSetup& setup);
tFindings checkStatusFile(const sPlaces& places, const sSlotSetup& setup);
tFindings checkDevice(const sPlaces& places, const sSlotSetup& setup);
tFindings checkHolders(const sPlaces& places, const sSlotSetup& setup);
tFindings checkInterface(const sPlaces& places, const sSlotSetup& setup);
tFindings checkManagers(const sPlaces& places, const sSlotSetup& setup);
tFindings checkNameServers(const sPlaces& places, const sSlotSetup& setup);
tFindings checkConfiguration(const sPlaces& places, const sSlotSetup& setup);
tFindings checkPinFiles(const sPlaces& places, const sSlotSetup& setup);
tFindings checkOverride(const sPlaces& places, const sSlotSetup& setup);
tFindings checkGps(const sPlaces& places, const sSlotSetup& setup);
tFindings checkPowerSwitch(const sPlaces& places, const sSlotSetup& setup);
tFindings checkModemHabits(const sPlaces& places, const sSlotSetup& setup);  // as far as published

using tCheck = tFindings (*)(const sPlaces& places, const sSlotSetup& setup);

const std::vector<tCheck>& hostChecks();
const std::vector<tCheck>& slotChecks();

#endif
