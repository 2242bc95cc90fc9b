#include "cli/base/config_place.h"

#include "published/paths.h"

std::string configPlace(const sPlaces& places, int slot) {
    const std::string own = slotConfigFile(slot);
    const bool isOld = hasOldConfigFile(slot) && !places.have(own) && places.have(oldConfigFile());
    return places.at(isOld ? oldConfigFile() : own);
}
