#ifndef CLI_STATUS_STATUS_VALUE_H
#define CLI_STATUS_STATUS_VALUE_H

#include <string>

#include "cli/status/status_file.h"

// One value that the slot's daemon published. Empty when there is none.
inline std::string statusValue(const sPlaces& places, int slot, const sStatusKey& key) {
    return readStatusFile(places, slot).record.text(key);
}

#endif
