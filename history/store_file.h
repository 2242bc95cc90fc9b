#ifndef HISTORY_STORE_FILE_H
#define HISTORY_STORE_FILE_H

#include <ctime>
#include <string>

#include "cli/base/places.h"
#include "history/layout.h"

// Makes the RRD file of a store at path, or makes it anew from source, as cRrdImage::create.
// librrd builds the whole file in memory for this: a process of its own does it, which gives the
// memory back. False: error says why.
bool makeStoreFile(const std::string& path, const sStore& store, time_t begin,
                   const std::string& source, std::string& error);

// Removes what librrd left of the slot's files that it was making when the power was cut.
void sweepStoreDrafts(const sPlaces& places, int slot);

#endif
