#ifndef CLI_PIN_SIM_FILES_H
#define CLI_PIN_SIM_FILES_H

#include <string>

#include "cli/base/places.h"
#include "cli/pin/secret.h"
#include "published/paths.h"

// Writes one of the files that pass PIN and PUK to the daemon (published/paths.h): whole, readable
// by its owner only, and on the disk when the call returns. Failures throw cFailure.
void writeSimFile(const sPlaces& places, const std::string& path, const char* data, size_t size);

// Whether the slot's PIN file holds a well-formed PIN.
bool hasUsablePin(const sPlaces& places, int slot);

// Whether the file is empty or missing, as after the daemon has taken a request.
bool isEmptied(const sPlaces& places, const std::string& path);

#endif
