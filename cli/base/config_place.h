#ifndef CLI_BASE_CONFIG_PLACE_H
#define CLI_BASE_CONFIG_PLACE_H

#include <string>

#include "cli/base/places.h"

// The configuration file that a daemon started now would read for the slot, with the root of
// places; if there is none, the file that should exist.
std::string configPlace(const sPlaces& places, int slot);

#endif
