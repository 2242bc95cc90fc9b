#ifndef CLI_CONFIG_PLACE_H
#define CLI_CONFIG_PLACE_H

#include <string>

#include "cli/places.h"

// The configuration file that a daemon that starts now would read for the slot, with the root of
// places. It need not exist.
std::string configPlace(const sPlaces& places, int slot);

#endif
