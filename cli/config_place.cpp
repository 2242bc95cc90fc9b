#include "cli/config_place.h"

#include <unistd.h>

#include "config/config_file.h"

namespace {

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

}  // namespace

std::string configPlace(const sPlaces& places, int slot) {
    const std::string own = places.at(slotConfigFile(std::to_string(slot)));
    const std::string old = places.at(oldConfigFile());
    const bool isOld = slot == 1 && !exists(own) && exists(old);
    return isOld ? old : own;
}
