#ifndef CLI_STATUS_VALUE_H
#define CLI_STATUS_VALUE_H

#include <string>

#include "cli/places.h"

// The status file of a slot, without the root of places.
std::string statusFilePath(int slot);

// One value that the slot's daemon published, the key as "_QMI_STATE". Empty when there is none.
std::string statusValue(const sPlaces& places, int slot, const std::string& key);

// When the daemon wrote its status last, seconds since the epoch; 0 when it has not.
long long statusTime(const sPlaces& places, int slot);

#endif
