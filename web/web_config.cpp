#include "web/web_config.h"

#include "cli/base/printable_text.h"
#include "cli/base/settings_file.h"
#include "http/host_names.h"

namespace {

[[noreturn]] void refuse(int line, const std::string& what) {
    refuseSetting(WEB_CONFIG_FILE, line, what);
}

void setHosts(const sSetting& setting, sWebConfig& config) {
    const std::vector<std::string> hosts = hostNames(setting, WEB_CONFIG_FILE);
    config.hosts.insert(config.hosts.end(), hosts.begin(), hosts.end());
}

void setMessages(const sSetting& setting, sWebConfig& config) {
    const std::string& value = setting.value;
    if (value != "yes" && value != "no")
        refuse(setting.line, "MESSAGES is '" + printableLine(value) + "'; expected yes or no");
    config.showsMessages = value == "yes";
}

struct sKey {
    const char* name;
    void (*set)(const sSetting& setting, sWebConfig& config);
};

const sKey KEYS[] = {
    {"HOSTS", setHosts},
    {"MESSAGES", setMessages},
};

void set(const sSetting& setting, sWebConfig& config) {
    for (const sKey& key : KEYS)
        if (setting.name == key.name) return key.set(setting, config);
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
