#include "cli/status_value.h"

#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"

std::string statusFilePath(int slot) {
    return "/var/log/wireless.cardstats." + std::to_string(slot);
}

std::string statusValue(const sPlaces& places, int slot, const std::string& key) {
    const cTextLookupTable table(places.at(statusFilePath(slot)), '=');
    return table.GetEntryByLabel("CELLMODEM" + std::to_string(slot) + key)[1];
}

long long statusTime(const sPlaces& places, int slot) {
    return textToLong(statusValue(places, slot, "_STATS_LAST_UPDATE_E"));
}
