#ifndef CLI_PIN_SIM_FILES_H
#define CLI_PIN_SIM_FILES_H

#include <string>

#include "cli/base/places.h"
#include "cli/pin/secret.h"
#include "published/paths.h"

// The files by which the daemon is given PIN and PUK (published/paths.h). Each is written whole,
// for its owner only, and is on the disk when the call returns. Failures throw cFailure.
void writeSimFile(const sPlaces& places, const std::string& path, const char* data, size_t size);

// Whether the slot has a PIN that can be one.
bool hasUsablePin(const sPlaces& places, int slot);

// Whether the file holds nothing, or is not there: what the daemon does with a request.
bool isEmptied(const sPlaces& places, const std::string& path);

#endif
