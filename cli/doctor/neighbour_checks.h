#ifndef CLI_DOCTOR_NEIGHBOUR_CHECKS_H
#define CLI_DOCTOR_NEIGHBOUR_CHECKS_H

#include "cli/doctor/finding.h"

// Other programs of the host that take the slot's interface, the name servers of its session, or
// the file of name servers.
tFindings checkManagers(const sPlaces& places, const sSlotSetup& setup);
tFindings checkNameServers(const sPlaces& places, const sSlotSetup& setup);
tFindings checkResolver(const sPlaces& places, const sSlotSetup& setup);

// Whether the udev rules set a property that keeps another program off the modem.
bool hasUdevRule(const sPlaces& places, const std::string& property);

#endif
