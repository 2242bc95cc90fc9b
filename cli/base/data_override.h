#ifndef CLI_BASE_DATA_OVERRIDE_H
#define CLI_BASE_DATA_OVERRIDE_H

#include <string>

#include "cli/base/places.h"

// What the override files in /tmp say about a slot's data; AUTO without one: the configuration
// decides.
enum class eDataOverride { AUTO, ON, OFF, POWER_OFF };

std::string overrideFilePath(eDataOverride value, int slot);

// What is in force. The daemon takes the first that exists: on, off, power-off.
eDataOverride dataOverride(const sPlaces& places, int slot);

// Makes the file of value and removes the others, in an order in which the daemon sees the old
// state or the new one, and nothing between. Throws cFailure.
void setDataOverride(const sPlaces& places, int slot, eDataOverride value);

#endif
