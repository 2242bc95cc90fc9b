#ifndef CLI_DOCTOR_FINDING_H
#define CLI_DOCTOR_FINDING_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "cli/doctor/slot_setup.h"

// What a check found. Checks change nothing.

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

using tCheck = tFindings (*)(const sPlaces& places, const sSlotSetup& setup);

#endif
