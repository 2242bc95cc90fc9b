#include "config/plain_config.h"

#include "config/config_keys.h"
#include "config/config_reader.h"
#include "platform/include/text_lookup_table.h"

std::vector<std::pair<std::string, std::string>> plainConfigValues(const std::string& path) {
    const cTextLookupTable table(path, '=');
    std::vector<std::pair<std::string, std::string>> values;
    for (const sConfigKey& key : configKeys()) {
        const std::string name = key.name;
        if (name == CM_USERNAME || name == CM_PASSWORD || !table.DoesEntryExist(name)) continue;
        values.emplace_back(name, table.GetEntryByLabel(name)[1]);
    }
    return values;
}
