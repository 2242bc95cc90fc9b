#include "config/config_file.h"

#include <unistd.h>

namespace {

const char* const SLOT_DIRECTORY = "/etc/vuk";
const char* const OLD_DIRECTORY = "/etc/zoq/wireless";

struct sConfigFileChoice {
    bool made = false;
    std::string slotFile;
    std::string oldFile;
};

sConfigFileChoice s_choice;

std::string slotFileIn(const std::string& directory, const std::string& slot) {
    return directory + "/cellular" + slot + ".conf";
}

std::string oldFileIn(const std::string& directory) {
    return directory + "/cellmodem_ppp.conf";
}

std::string withoutTrailingSlashes(std::string directory) {
    while (!directory.empty() && directory.back() == '/') {
        directory.pop_back();
    }
    return directory;
}

}  // namespace

std::string slotConfigFile(const std::string& slot) {
    return slotFileIn(SLOT_DIRECTORY, slot);
}

std::string oldConfigFile() {
    return oldFileIn(OLD_DIRECTORY);
}

std::string chooseConfigFile(const std::string& slot, const std::string& directory) {
    if (!s_choice.made) {
        s_choice = {true, slotConfigFile(slot), oldConfigFile()};
    }
    const std::string otherDirectory = withoutTrailingSlashes(directory);
    if (!otherDirectory.empty()) {
        s_choice = {true, slotFileIn(otherDirectory, slot), oldFileIn(otherDirectory)};
    }
    if (slot == "1" && access(s_choice.slotFile.c_str(), F_OK) != 0) {
        s_choice.slotFile = s_choice.oldFile;
    }
    return s_choice.slotFile;
}

void resetConfigFileChoice() {
    s_choice = {};
}
