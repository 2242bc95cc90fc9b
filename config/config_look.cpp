#include "config/config_look.h"

#include <iterator>

#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"

namespace {

// Indexed by eConfigResult.
const char* const RESULTS[] = {"missing", "unchanged", "applied"};

}  // namespace

const char* configResultName(eConfigResult result) {
    return RESULTS[result];
}

void publishConfigLook(const std::string& path, const sConfigLook& look) {
    cFileVector file(path);
    file.AppendLine("PID=" + itos(look.pid));
    file.AppendLine("COUNT=" + std::to_string(look.count));
    file.AppendLine(std::string("RESULT=") + configResultName(look.result));
    file.AppendLine("FILE=" + look.file);
    if (look.enableInterface) file.AppendLine("INTERFACE=" + itos(*look.enableInterface));
    file.AppendLine(std::string("ROAMING=") + (look.roamingAllowed ? "1" : "0"));
    file.Write();
}

sConfigLook readConfigLook(const std::string& path) {
    const cTextLookupTable table(path, '=');
    const auto value = [&](const char* key) {
        const auto entry = table.entries().find(key);
        return entry == table.entries().end() ? std::string() : entry->second;
    };
    sConfigLook look;
    const std::string result = value("RESULT");
    for (unsigned i = 0; i < std::size(RESULTS); ++i) {
        if (result != RESULTS[i]) continue;
        look.result = static_cast<eConfigResult>(i);
        look.pid = textToInt(value("PID"));
    }
    look.count = static_cast<unsigned>(textToInt(value("COUNT")));
    look.file = value("FILE");
    if (isNumericValue(value("INTERFACE"))) look.enableInterface = textToInt(value("INTERFACE"));
    look.roamingAllowed = value("ROAMING") != "0";
    return look;
}
