#include "published/data_override.h"

#include <sys/stat.h>

#include "published/paths.h"

namespace {

struct sOverrideRow {
    eDataOverride value;
    const char* name;
    eCfgDataStatus wanted;
};

// The first that exists counts.
const sOverrideRow OVERRIDES[] = {
    {eDataOverride::ON, OVERRIDE_ON_NAME, eCONF_DATA_CONNECT_TEMP_ENABLED},
    {eDataOverride::OFF, OVERRIDE_OFF_NAME, eCONF_DATA_CONNECT_TEMP_DISABLED},
    {eDataOverride::POWER_OFF, OVERRIDE_POWER_OFF_NAME, eCONF_DATA_CONNECT_TEMP_MODEM_OFF},
};

}  // namespace

std::string overrideFilePath(eDataOverride value, const cSlotText& slot) {
    return overrideFileIn(SHARED_FOLDER, value, slot);
}

std::string overrideFileIn(const std::string& folder, eDataOverride value, const cSlotText& slot) {
    for (const sOverrideRow& row : OVERRIDES)
        if (row.value == value) return folder + "/" + row.name + "." + slot.text();
    return "";
}

eDataOverride findOverride(const std::string& folder, const cSlotText& slot) {
    struct stat info {};
    for (const sOverrideRow& row : OVERRIDES)
        if (stat(overrideFileIn(folder, row.value, slot).c_str(), &info) == 0) return row.value;
    return eDataOverride::AUTO;
}

eCfgDataStatus wantedData(eDataOverride value, int enableInterface) {
    for (const sOverrideRow& row : OVERRIDES)
        if (row.value == value) return row.wanted;
    if (enableInterface == 0) return eCONF_DATA_CONNECT_DISABLED;
    return enableInterface == -1 ? eCONF_DATA_CONNECT_MODEM_OFF : eCONF_DATA_CONNECT_ENABLED;
}

bool waitsForBoot(eCfgDataStatus wanted) {
    return wanted == eCONF_DATA_CONNECT_ENABLED || wanted == eCONF_DATA_CONNECT_TEMP_ENABLED;
}
