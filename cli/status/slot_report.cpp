#include "cli/status/slot_report.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <unistd.h>

#include <cstring>

#include "cli/base/config_place.h"
#include "cli/base/daemon_process.h"
#include "cli/base/data_override.h"
#include "cli/base/silent_reader.h"
#include "config/config_look.h"
#include "platform/include/text_helpers.h"
#include "published/host_boot.h"
#include "published/paths.h"

namespace {

void findOverride(const sPlaces& places, int slot, sDataDirectiveReport& data) {
    const eDataOverride override = dataOverride(places, slot);
    const auto take = [&](const std::string& effect) {
        data.value = wantedData(override, 0);
        data.why = effect + " by " + overrideFilePath(override, slot);
    };
    switch (override) {
        case eDataOverride::AUTO:
            return;
        case eDataOverride::ON:
            return take("forced on");
        case eDataOverride::OFF:
            return take("forced off");
        case eDataOverride::POWER_OFF:
            return take("modem switched off");
    }
}

void setWanted(int enableInterface, bool roamingAllowed, sDataDirectiveReport& data) {
    data.configRead = true;
    data.roamingAllowed = roamingAllowed;
    const std::string source = " in " + data.configPath;
    data.value = wantedData(eDataOverride::AUTO, enableInterface);
    if (data.value == eCONF_DATA_CONNECT_DISABLED)
        data.why = "no CM_ENABLE_INTERFACE=yes" + source;
    else if (data.value == eCONF_DATA_CONNECT_MODEM_OFF)
        data.why = "CM_ENABLE_INTERFACE=off" + source;
    else
        data.why = "CM_ENABLE_INTERFACE=yes" + source;
}

// The file has a password, so only root may read it. Its daemon publishes what it has read of it.
void takeDaemonsReading(const sPlaces& places, int slot, int daemonPid,
                        sDataDirectiveReport& data) {
    const sConfigLook look = readConfigLook(places.at(configLookPath(slot)));
    if (daemonPid != 0 && look.pid == daemonPid && look.enableInterface)
        setWanted(*look.enableInterface, look.roamingAllowed, data);
    else
        data.why = "cannot read " + data.configPath;
}

// What the configuration wants, before any override.
void readConfiguration(const sPlaces& places, int slot, int daemonPid, sDataDirectiveReport& data) {
    const std::string path = places.at(data.configPath);
    if (!places.have(data.configPath)) {
        data.value = eCONF_DATA_CONNECT_DISABLED;
        data.why = data.configPath + " does not exist";
        return;
    }
    sConfigFileOpts config;
    cSilentReader reader;
    reader.init(path, 0);
    if (access(path.c_str(), R_OK) != 0)
        takeDaemonsReading(places, slot, daemonPid, data);
    else if (reader.readConfig(config) == eCONFIG_APPLIED)
        setWanted(config.enableInterface, config.roamingAllowed, data);
    else
        data.why = "cannot read " + data.configPath;
}

sDataDirectiveReport reportDirective(const sPlaces& places, int slot, int daemonPid,
                                     unsigned uptimeS) {
    sDataDirectiveReport data;
    data.configPath = configPlace(places, slot).substr(places.root.size());
    readConfiguration(places, slot, daemonPid, data);
    findOverride(places, slot, data);
    if (!waitsForBoot(data.value) || hostBoot(places.root, uptimeS) != eHostBoot::BOOTING)
        return data;
    data.value = eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM;
    data.why = "the host has been up for only " + ltos(uptimeS) + " s; data starts when " +
               BOOTED_FILE + " exists, or after " + ltos(BOOT_S) + " s";
    return data;
}

std::string addressText(const sockaddr* address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address->sa_family == AF_INET) {
        sockaddr_in inner{};
        memcpy(&inner, address, sizeof inner);
        inet_ntop(AF_INET, &inner.sin_addr, text, sizeof text);
    }
    if (address->sa_family == AF_INET6) {
        sockaddr_in6 inner{};
        memcpy(&inner, address, sizeof inner);
        if (!IN6_IS_ADDR_LINKLOCAL(&inner.sin6_addr))
            inet_ntop(AF_INET6, &inner.sin6_addr, text, sizeof text);
    }
    return text;
}

// Without link-local addresses, which reach no other network.
std::vector<std::string> interfaceAddresses(const std::string& interface) {
    std::vector<std::string> addresses;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return addresses;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || interface != entry->ifa_name) continue;
        const std::string text = addressText(entry->ifa_addr);
        if (!text.empty()) addresses.push_back(text);
    }
    freeifaddrs(list);
    return addresses;
}

}  // namespace

sMoment currentMoment() {
    return {time(nullptr), hostUptimeS()};
}

sDataDirectiveReport publishedDirective(const sPlaces& places, int slot, int daemonPid) {
    sDataDirectiveReport data;
    data.configPath = configPlace(places, slot).substr(places.root.size());
    takeDaemonsReading(places, slot, daemonPid, data);
    findOverride(places, slot, data);
    return data;
}

sSlotReport reportSlot(const sPlaces& places, int slot, const sMoment& moment) {
    sSlotReport report;
    report.slot = slot;
    report.daemonPid = runningDaemon(places, slot);
    report.daemonRuns = report.daemonPid != 0;
    report.file = readStatusFile(places, slot);
    report.data = reportDirective(places, slot, report.daemonPid, moment.uptimeS);
    if (!report.isGood()) return report;
    const sStatusRecord& record = report.file.record;
    report.ageS = moment.now - record.number(STATUS_STATS_LAST_UPDATE_E).value_or(0);
    report.portExists = places.have(record.text(STATUS_DEV_HANDLE_MAIN));
    report.addresses = interfaceAddresses(record.text(STATUS_NETWORK_INTERFACE));
    return report;
}

std::vector<int> findSlots(const sPlaces& places) {
    std::vector<int> slots;
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        if (readStatusFile(places, slot).state != eStatusFile::MISSING ||
            recordedPid(places, slot) != 0 || places.have(slotConfigFile(slot)))
            slots.push_back(slot);
    return slots;
}
