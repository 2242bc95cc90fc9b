#include "cli/base/config_place.h"

#include "config/config_file.h"

std::string configPlace(const sPlaces& places, int slot) {
    const std::string own = slotConfigFile(std::to_string(slot));
    const bool isOld = slot == 1 && !places.have(own) && places.have(oldConfigFile());
    return places.at(isOld ? oldConfigFile() : own);
}
