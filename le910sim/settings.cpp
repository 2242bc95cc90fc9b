#include "le910sim/settings.h"

namespace le910sim {

const std::vector<sSettingRow>& settingTable() {
    static const std::vector<sSettingRow> TABLE = {
        {"+CREG", 1, {{0, 2, 0}}, false, false},
        {"+CGREG", 1, {{0, 2, 0}}, false, false},
        {"+CEREG", 1, {{0, 2, 0}}, false, false},
        {"+CIREG", 1, {{0, 2, 0}}, false, false},
        {"#PSNT", 1, {{0, 1, 0}}, false, false},
        {"#QSS", 1, {{0, 2, 0}}, true, false},
        {"+CMGF", 1, {{0, 1, 0}}, false, true},
        {"+CSMP", 0, {{0, 255, 17}, {0, 255, 167}, {0, 255, 0}, {0, 255, 0}}, false, true},
        {"+CNMI", 0, {{0, 3, 0}, {0, 3, 0}, {0, 3, 0}, {0, 2, 0}, {0, 1, 0}}, false, true},
        {"+CSMS", 1, {{0, 1, 0}}, false, false},
        {"+CSDH", 1, {{0, 1, 0}}, false, true},
        {"+CSDF", 1, {{1, 2, 1}, {1, 2, 1}}, false, true},
        {"+CMMS", 1, {{0, 2, 0}}, false, true},
        {"+CPLS", 1, {{0, 2, 0}}, false, true},
        {"+CLIP", 1, {{0, 1, 0}}, false, true},
        {"+CRC", 1, {{0, 1, 0}}, false, true},
        {"+CCWA", 1, {{0, 1, 0}}, false, true},
        {"+CUSD", 1, {{0, 2, 0}}, false, true},
        {"+CGEREP", 1, {{0, 2, 0}, {0, 1, 0}}, false, true},
        {"+CMER", 1, {{0, 3, 0}, {0, 0, 0}, {0, 0, 0}, {0, 2, 0}, {0, 1, 0}}, false, true},
        // Which indicators +CIEV would report.
        {"+CIND",
         1,
         {{0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1},
          {0, 1, 1}},
         false,
         false},
        {"+CEMODE", 1, {{0, 3, 2}}, true, true},
        {"+CTZU", 1, {{0, 1, 0}}, true, true},
        {"+IFC", 1, {{0, 2, 2}, {0, 2, 2}}, false, true},
        {"#CCLKMODE", 1, {{0, 1, 0}}, false, true},
        {"#NITZ", 1, {{0, 15, 7}, {0, 2, 0}}, false, true},
        {"#AUTOBND", 1, {{0, 2, 2}}, true, true},
        {"#ENS", 1, {{0, 1, 0}}, true, true},
        {"#SLED", 1, {{0, 4, 2}, {1, 100, 10}, {1, 100, 10}}, false, true},
        {"#PORTCFG", 1, {{0, 15, 1}}, true, true},
        {"$GPSD", 1, {{0, 5, 0}}, true, true},
        {"$GPSGPIO", 4, {{1, 10, 5}, {1, 10, 6}, {1, 10, 7}, {1, 10, 8}}, true, true},
        {"$GPSSERSPEED", 1, {{4800, 115200, 9600}}, true, true},
    };
    return TABLE;
}

const sSettingRow* findSetting(const std::string& name) {
    for (const sSettingRow& row : settingTable()) {
        if (name == row.name) return &row;
    }
    return nullptr;
}

std::map<std::string, std::vector<int64_t>> defaultSettings() {
    std::map<std::string, std::vector<int64_t>> settings;
    for (const sSettingRow& row : settingTable()) {
        for (const sSettingField& field : row.fields)
            settings[row.name].push_back(field.initial);
    }
    return settings;
}

void resetVolatileSettings(std::map<std::string, std::vector<int64_t>>& settings) {
    const std::map<std::string, std::vector<int64_t>> defaults = defaultSettings();
    for (const sSettingRow& row : settingTable()) {
        if (!row.kept) settings[row.name] = defaults.at(row.name);
    }
}

}  // namespace le910sim
