#ifndef CLI_BASE_DATA_OVERRIDE_H
#define CLI_BASE_DATA_OVERRIDE_H

#include "cli/base/places.h"
#include "published/data_override.h"

// The override in force.
eDataOverride dataOverride(const sPlaces& places, int slot);

// Creates the file of value and removes the others, in an order in which the daemon sees either the
// old state or the new one. Throws cFailure.
void setDataOverride(const sPlaces& places, int slot, eDataOverride value);

#endif
