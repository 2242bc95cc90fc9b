#include "web/web_config.h"

#include <algorithm>

#include "cli/base/printable_text.h"
#include "cli/base/settings_file.h"
#include "http/host_check.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t HOSTS_MAX = 32;

[[noreturn]] void refuse(int line, const std::string& what) {
    refuseSetting(WEB_CONFIG_FILE, line, what);
}

void setHosts(const std::string& value, int line, sWebConfig& config) {
    for (size_t start = 0; start < value.size();) {
        const size_t end = std::min(value.find_first_of(" ,", start), value.size());
        const std::string name = stringLower(value.substr(start, end - start));
        start = end + 1;
        if (name.empty()) continue;
        if (!isHostName(name))
            refuse(line, "'" + printableLine(name) +
                             "' is not a host name; expected names without port, as "
                             "gateway.example.com");
        if (config.hosts.size() == HOSTS_MAX) refuse(line, "more than 32 names");
        config.hosts.push_back(name);
    }
}

void setMessages(const std::string& value, int line, sWebConfig& config) {
    if (value != "yes" && value != "no")
        refuse(line, "MESSAGES is '" + printableLine(value) + "'; expected yes or no");
    config.showsMessages = value == "yes";
}

struct sKey {
    const char* name;
    void (*set)(const std::string& value, int line, sWebConfig& config);
};

const sKey KEYS[] = {
    {"HOSTS", setHosts},
    {"MESSAGES", setMessages},
};

void set(const sSetting& setting, sWebConfig& config) {
    for (const sKey& key : KEYS)
        if (setting.name == key.name) return key.set(setting.value, setting.line, config);
    refuse(setting.line,
           "unknown key '" + printableLine(setting.name) + "'; known are HOSTS and MESSAGES");
}

sWebConfig configOf(const std::vector<sSetting>& settings) {
    sWebConfig config;
    for (const sSetting& setting : settings)
        set(setting, config);
    return config;
}

}  // namespace

sWebConfig parseWebConfig(const std::string& text) {
    return configOf(parseSettings(text, WEB_CONFIG_FILE));
}

sWebConfig readWebConfig(const sPlaces& places) {
    return configOf(readSettings(places, WEB_CONFIG_FILE));
}
