#ifndef CLI_BASE_DATA_OVERRIDE_H
#define CLI_BASE_DATA_OVERRIDE_H

#include "cli/base/places.h"
#include "published/data_override.h"

// What is in force.
eDataOverride dataOverride(const sPlaces& places, int slot);

// Makes the file of value and removes the others, in an order in which the daemon sees the old
// state or the new one, and nothing between. Throws cFailure.
void setDataOverride(const sPlaces& places, int slot, eDataOverride value);

#endif
