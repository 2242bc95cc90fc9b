#include "fleet/fleet_config.h"

#include <pwd.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>

#include "cli/base/failure.h"
#include "cli/base/printable_text.h"
#include "cli/base/settings_file.h"
#include "http/host_names.h"

namespace {

constexpr size_t BY_MAX = 64;
constexpr const char* KEY_NAME = "NAME";
constexpr const char* KEY_LISTEN = "LISTEN";
constexpr const char* KEY_HOSTS = "HOSTS";

std::string homeFile() {
    const char* folder = getenv("XDG_CONFIG_HOME");
    if (folder != nullptr && *folder == '/') return std::string(folder) + "/cellslot/fleet.conf";
    const char* home = getenv("HOME");
    return home != nullptr && *home == '/' ? std::string(home) + "/.config/cellslot/fleet.conf"
                                           : "";
}

std::string chooseFile(const sPlaces& places, const std::string& given) {
    if (!given.empty() && !places.have(given))
        throw cFailure(eExitStatus::USAGE, "there is no file " + printableLine(given));
    if (!given.empty()) return given;
    const std::string own = homeFile();
    if (!own.empty() && places.have(own)) return own;
    return places.have(FLEET_CONFIG_FILE) ? FLEET_CONFIG_FILE : "";
}

void takeName(const sSetting& setting, const std::string& file, sFleetConfig& config) {
    if (setting.value.empty() || setting.value.size() > BY_MAX ||
        printableLine(setting.value) != setting.value)
        refuseSetting(file, setting.line,
                      "NAME is '" + printableLine(setting.value) +
                          "'; expected 1 to 64 printable characters, as anna@desk");
    config.by = setting.value;
}

void takeSetting(const sSetting& setting, sFleetConfig& config) {
    if (setBrokerOption(setting, config.file, config.broker)) return;
    if (setting.name == KEY_NAME) return takeName(setting, config.file, config);
    if (setting.name == KEY_HOSTS) {
        config.hosts = hostNames(setting, config.file);
        return;
    }
    if (setting.name == KEY_LISTEN) {
        config.listen = setting.value;
        return;
    }
    refuseSetting(config.file, setting.line,
                  "unknown key '" + printableLine(setting.name) + "'; known are " +
                      brokerSettingNames() + ", " + KEY_LISTEN + ", " + KEY_HOSTS + " and " +
                      KEY_NAME);
}

void requireUsable(const sFleetConfig& config, const sPlaces& places) {
    const std::vector<std::string> problems = brokerProblems(config.broker, places);
    if (problems.empty()) return;
    const std::string where =
        config.file.empty() ? std::string("there is no ") + FLEET_CONFIG_FILE : config.file;
    throw cFailure(eExitStatus::FAILED, where + ": " + problems.front());
}

}  // namespace

std::string callerName() {
    char host[HOST_NAME_MAX + 1] = "";
    gethostname(host, sizeof host - 1);
    const passwd* user = getpwuid(getuid());
    const std::string name = user != nullptr ? user->pw_name : std::to_string(getuid());
    return printableLine(name + "@" + host).substr(0, BY_MAX);
}

sFleetConfig readFleetConfig(const sPlaces& places, const sConfigChoice& choice) {
    sFleetConfig config;
    config.by = callerName();
    config.file = chooseFile(places, choice.file);
    if (!config.file.empty())
        for (const sSetting& setting : readSettings(places, config.file))
            takeSetting(setting, config);
    if (!choice.broker.empty()) {
        config.broker.brokers.clear();
        setBrokerOption({0, "BROKER", choice.broker}, "--broker", config.broker);
    }
    requireUsable(config, places);
    return config;
}
