#include "cli/doctor/neighbour_checks.h"

#include <unistd.h>

#include <algorithm>
#include <climits>
#include <fstream>
#include <set>

#include "cli/status/status_file.h"
#include "cli/status/status_value.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "platform/include/text_lookup_table.h"
#include "published/installation.h"
#include "published/status_values.h"

// Other programs of the host that set up what belongs to the daemon: interface and name servers.
namespace {

constexpr size_t FILE_MAX_BYTES = 65536;
constexpr const char* RESOLV_CONF = "/etc/resolv.conf";

// A program of the host, by the name of its process, of which the kernel keeps 15 characters.
struct sProgram {
    const char* name;
    const char* process;
};

const sProgram NETWORK_MANAGER = {"NetworkManager", "NetworkManager"};
const sProgram NETWORKD = {"systemd-networkd", "systemd-network"};
const sProgram RESOLVED = {"systemd-resolved", "systemd-resolve"};

bool isRunning(const sPlaces& places, const sProgram& program) {
    const std::vector<int> pids = allPids(places);
    return std::any_of(pids.begin(), pids.end(),
                       [&](int pid) { return processName(places, pid) == program.process; });
}

std::string textOf(const sPlaces& places, const std::string& path) {
    std::string text;
    return readFile2String(places.at(path), text, FILE_MAX_BYTES) ? text : "";
}

bool isConnected(const sPlaces& places, const sSlotSetup& setup) {
    return setup.pid != 0 && statusValue(places, setup.slot, STATUS_QMI_STATE) == SESSION_CONNECTED;
}

// ---- the interface

// How a program notes what it does with an interface: a file by the interface's number, and in it a
// key. Its files stay when it ends.
struct sManager {
    const sProgram& program;
    const char* folder;
    const char* key;
    std::set<std::string> managed;  // the values with which it sets the interface up
    const char* source;             // the key that names the file that asks for it, or ""
    std::string (*mend)(const sPlaces& places, const std::string& interface,
                        const std::string& source);
};

std::string networkManagersMend(const sPlaces& places, const std::string& interface,
                                const std::string& /*source*/) {
    // From its next appearance on, the rule keeps it so.
    if (hasUdevRule(places, "NM_UNMANAGED")) return "nmcli device set " + interface + " managed no";
    // With a reload this setting counts for an interface that it has, "managed" of a device does
    // not.
    return "printf '[keyfile]\\nunmanaged-devices+=interface-name:" + interface +
           "\\n' >/etc/NetworkManager/conf.d/cellslot.conf; nmcli general reload";
}

// It takes the first file that matches the interface, by the order of the names in all its folders.
std::string networkdsMend(const sPlaces& places, const std::string& interface,
                          const std::string& source) {
    const std::string reload = "; networkctl reload";
    const bool hasOurs = places.have(std::string("/usr/lib/systemd/network/") + NETWORKD_FILE) ||
                         places.have(std::string("/etc/systemd/network/") + NETWORKD_FILE);
    if (!hasOurs)
        return "printf '[Match]\\nName=" + interface +
               "\\n[Link]\\nUnmanaged=yes\\n' >/etc/systemd/network/" + NETWORKD_FILE + reload;
    const size_t nameAt = source.rfind('/') + 1;
    const std::string name = source.substr(nameAt);
    if (name >= NETWORKD_FILE) return "networkctl reload";
    return "mv " + source + " " + source.substr(0, nameAt) + "50-" + name + reload;
}

const sManager MANAGERS[] = {
    {NETWORK_MANAGER, "/run/NetworkManager/devices/", "managed", {"true"}, "", networkManagersMend},
    {NETWORKD,
     "/run/systemd/netif/links/",
     "ADMIN_STATE",
     {"configuring", "configured", "failed"},
     "NETWORK_FILE",
     networkdsMend},
};

std::string valueOf(const cTextLookupTable& notes, const std::string& key) {
    return cleanBeginEndWhiteSpace(notes.GetEntryByLabel(key)[1]);
}

tFindings managedBy(const sPlaces& places, const sSlotSetup& setup, const sManager& manager,
                    const std::string& index) {
    const cTextLookupTable notes(places.at(manager.folder + index), '=');
    if (manager.managed.count(valueOf(notes, manager.key)) == 0) return {};
    if (!isRunning(places, manager.program)) return {};
    const std::string source = valueOf(notes, manager.source);
    return {{eHealth::BROKEN, "interface",
             setup.interface + " is also set up by " + manager.program.name +
                 (source.empty() ? "" : " (" + source + ")") +
                 ", which removes a session's address and routes",
             manager.mend(places, setup.interface, source)}};
}

// ---- the name servers

// Where setup_cellint.sh put the modem's name servers. It notes that as one of its changes.
enum class eServerPlace { NOWHERE, IN_FILE, WITH_RESOLVED, WITH_RESOLVCONF, REFUSED };

const std::string REFUSED_NOTE = "nodns ";

eServerPlace notedPlace(const sPlaces& places, const std::string& interface) {
    std::ifstream notes(places.at(std::string(INTERFACE_NOTES_PREFIX) + interface));
    eServerPlace place = eServerPlace::NOWHERE;
    for (std::string line; std::getline(notes, line);) {
        if (line == "file" || line == "newfile") place = eServerPlace::IN_FILE;
        if (line == "resolved") place = eServerPlace::WITH_RESOLVED;
        if (line == "resolvconf") place = eServerPlace::WITH_RESOLVCONF;
        if (line.compare(0, REFUSED_NOTE.size(), REFUSED_NOTE) == 0) place = eServerPlace::REFUSED;
    }
    return place;
}

// By the comment that programs put into the file: "Generated by NetworkManager", "generated by
// resolvconf(8)".
std::string programThatWrote(const sPlaces& places, const std::string& resolvConf) {
    for (const char* program : {"NetworkManager", "resolvconf"})
        if (resolvConf.find(std::string("enerated by ") + program) != std::string::npos)
            return program;
    if (resolvConf.find("managed by man:systemd-resolved") != std::string::npos)
        return RESOLVED.name;
    return isRunning(places, NETWORK_MANAGER) ? NETWORK_MANAGER.name : "another program";
}

// The link's target, as it is written; "" for a file.
std::string resolvConfLink(const sPlaces& places) {
    char target[PATH_MAX];
    const ssize_t length = readlink(places.at(RESOLV_CONF).c_str(), target, sizeof target);
    return length < 0 ? "" : std::string(target, static_cast<size_t>(length));
}

bool isResolveds(const std::string& link) {
    return link.find("/systemd/resolve/") != std::string::npos;
}

std::string giveAgain() {
    return std::string(HOST_TOOLS_FOLDER) + "/setup_cellint.sh --renew-dns";
}

sFinding serversLost(const sPlaces& places, const std::string& text) {
    return {eHealth::BROKEN, "dns",
            std::string("the modem's name servers are no longer in ") + RESOLV_CONF +
                ", which was written by " + programThatWrote(places, text),
            giveAgain() +
                "; where it happens again and again, install systemd-resolved or "
                "resolvconf, which keeps the servers of all interfaces"};
}

sFinding serversRefused(const sPlaces& places) {
    const std::string text = "the modem's name servers are not in use: ";
    if (isResolveds(resolvConfLink(places)))
        return {eHealth::BROKEN, "dns", text + RESOLVED.name + " did not take them",
                std::string("systemctl restart ") + RESOLVED.name + "; " + giveAgain()};
    return {eHealth::BROKEN, "dns", text + RESOLV_CONF + " could not be written",
            std::string("make ") + RESOLV_CONF + " writable; " + giveAgain()};
}

bool hasBlockOf(const std::string& text, const std::string& interface) {
    return text.find("# cellslot " + interface + " begin\n") != std::string::npos;
}

tFindings checkServersOf(const sPlaces& places, const sSlotSetup& setup) {
    const std::string text = textOf(places, RESOLV_CONF);
    const eServerPlace place = notedPlace(places, setup.interface);
    if (place == eServerPlace::REFUSED) return {serversRefused(places)};
    const bool isStill = [&] {
        switch (place) {
            case eServerPlace::REFUSED:
            case eServerPlace::NOWHERE:
                return true;
            case eServerPlace::IN_FILE:
                return hasBlockOf(text, setup.interface);
            case eServerPlace::WITH_RESOLVED:
                return isResolveds(resolvConfLink(places));
            case eServerPlace::WITH_RESOLVCONF:
                return text.find("nameserver ") != std::string::npos &&
                       text.find("enerated by resolvconf") != std::string::npos;
        }
        return true;
    }();
    if (isStill) return {};
    return {serversLost(places, text)};
}

}  // namespace

// A file of the host's own in /etc takes the place of the package's.
bool hasUdevRule(const sPlaces& places, const std::string& property) {
    const std::string own = textOf(places, std::string("/etc/udev/rules.d/") + UDEV_RULES_FILE);
    const std::string rules =
        own.empty() ? textOf(places, std::string("/lib/udev/rules.d/") + UDEV_RULES_FILE) : own;
    return rules.find("ENV{" + property + "}=\"1\"") != std::string::npos;
}

tFindings checkManagers(const sPlaces& places, const sSlotSetup& setup) {
    if (!isInterfaceName(setup.interface)) return {};
    std::string index =
        cleanBeginEndWhiteSpace(textOf(places, "/sys/class/net/" + setup.interface + "/ifindex"));
    if (!isStringNumeric(index)) return {};
    tFindings findings;
    for (const sManager& manager : MANAGERS)
        for (const sFinding& finding : managedBy(places, setup, manager, index))
            findings.push_back(finding);
    return findings;
}

tFindings checkNameServers(const sPlaces& places, const sSlotSetup& setup) {
    if (!isInterfaceName(setup.interface) || !isConnected(places, setup)) return {};
    return checkServersOf(places, setup);
}

// setup_cellint.sh gives the name servers to the program that the file leads to.
tFindings checkResolver(const sPlaces& places, const sSlotSetup& /*setup*/) {
    if (!isResolveds(resolvConfLink(places)) || isRunning(places, RESOLVED)) return {};
    return {{eHealth::BROKEN, "dns",
             std::string(RESOLV_CONF) +
                 " leads to systemd-resolved, which does not run: no name is resolved",
             "systemctl enable --now systemd-resolved; " + giveAgain()}};
}
