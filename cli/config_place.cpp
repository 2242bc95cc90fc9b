#include "cli/config_place.h"

#include <unistd.h>

#include "config/config_file.h"

std::string configPlace(const sPlaces& places, int slot) {
    const std::string own = places.at(slotConfigFile(std::to_string(slot)));
    if (slot == 1 && access(own.c_str(), F_OK) != 0) return places.at(oldConfigFile());
    return own;
}
