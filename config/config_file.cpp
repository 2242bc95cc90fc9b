#include "config/config_file.h"

#include <unistd.h>

#include "published/paths.h"

namespace {

struct sConfigFileChoice {
    bool made = false;
    std::string slotFile;
    std::string oldFile;
};

sConfigFileChoice s_choice;

std::string withoutTrailingSlashes(std::string directory) {
    while (!directory.empty() && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

}  // namespace

std::string chooseConfigFile(const std::string& slot, const std::string& directory) {
    if (!s_choice.made) {
        s_choice = {true, slotConfigFile(slot), oldConfigFile()};
    }
    const std::string otherDirectory = withoutTrailingSlashes(directory);
    if (!otherDirectory.empty()) {
        s_choice = {true, slotConfigFileIn(otherDirectory, slot), oldConfigFileIn(otherDirectory)};
    }
    if (hasOldConfigFile(slot) && access(s_choice.slotFile.c_str(), F_OK) != 0) {
        s_choice.slotFile = s_choice.oldFile;
    }
    return s_choice.slotFile;
}

void resetConfigFileChoice() {
    s_choice = {};
}
