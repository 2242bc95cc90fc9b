#ifndef LE910SIM_SETTINGS_H
#define LE910SIM_SETTINGS_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace le910sim {

// Commands that only store the numbers they are given: +NAME=a,b and +NAME?.

struct sSettingField {
    int64_t least;
    int64_t most;
    int64_t initial;
};

struct sSettingRow {
    const char* name;
    size_t required;  // arguments that must be given; the others keep their values
    std::vector<sSettingField> fields;
    bool kept;      // survives a restart
    bool readable;  // answered to +NAME? in the plain form
};

const std::vector<sSettingRow>& settingTable();
const sSettingRow* findSetting(const std::string& name);

std::map<std::string, std::vector<int64_t>> defaultSettings();
void resetVolatileSettings(std::map<std::string, std::vector<int64_t>>& settings);

}  // namespace le910sim

#endif
