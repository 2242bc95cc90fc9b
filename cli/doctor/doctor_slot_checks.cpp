#include "cli/doctor/doctor_slot_checks.h"

#include <grp.h>
#include <net/if.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <fstream>
#include <set>
#include <sstream>

#include "cli/base/config_place.h"
#include "cli/base/daemon_process.h"
#include "cli/base/data_override.h"
#include "cli/config/config_check.h"
#include "cli/doctor/neighbour_checks.h"
#include "cli/doctor/port_holders.h"
#include "cli/doctor/quiet_run.h"
#include "cli/pin/sim_files.h"
#include "cli/status/diagnosis.h"
#include "cli/status/no_daemon.h"
#include "cli/status/status_file.h"
#include "cli/status/status_value.h"
#include "config/config_keys.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "published/installation.h"
#include "published/status_values.h"

namespace {

// The daemon writes it every two seconds; its longest wait for a modem takes a few minutes.
constexpr long long STATUS_LATE_S = 300;
// For a program that ends at once, on a host that is busy.
constexpr const char* TIMEOUT_TRIAL_S = "20";

std::string option(const sSlotSetup& setup) {
    return " -p " + std::to_string(setup.slot);
}

std::string inForce(const sConfigReport& report, const std::string& key) {
    for (const sConfigKeyReport& row : report.keys)
        if (row.key == key) return row.inForce;
    return "";
}

sFinding notKnown(const sSlotSetup& setup, const std::string& subject, const char* optionName) {
    return {
        eHealth::NOTE, subject, "not known, because no daemon is running",
        std::string("set it with ") + optionName + ", or in " + serviceSettingsPath(setup.slot)};
}

// Checks the path of a port. FINE if it can be a port.
sFinding portAt(const sPlaces& places, const std::string& subject, const std::string& device) {
    struct stat info {};
    if (stat(places.at(device).c_str(), &info) != 0)
        return {eHealth::BROKEN, subject, device + " does not exist",
                "check the modem's power and cable: ls /dev/ttyUSB*, dmesg"};
    if (!S_ISCHR(info.st_mode) && !S_ISFIFO(info.st_mode))
        return {eHealth::BROKEN, subject, device + " is not a serial port",
                "remove it, or name the right port"};
    return {eHealth::FINE, subject, device + " exists", ""};
}

// It asks udev when it finds a modem, and keeps the ports that it has.
std::string modemManagersMend(const sPlaces& places) {
    if (!hasUdevRule(places, "ID_MM_DEVICE_IGNORE")) return "systemctl mask --now ModemManager";
    return "udevadm control --reload; udevadm trigger --settle --property-match=ID_VENDOR_ID=1bc7; "
           "systemctl restart ModemManager";
}

sFinding heldBy(const sPlaces& places, const std::string& device, int pid) {
    const std::string name = processName(places, pid);
    return {eHealth::BROKEN, "port",
            device + " is also open in " + name + " (" + std::to_string(pid) + ")",
            name == "ModemManager" ? modemManagersMend(places)
                                   : "end that program, or exclude the port in its settings"};
}

// True also if the user or its groups are not known.
bool mayUse(const passwd* user, const struct stat& device) {
    if (user == nullptr || user->pw_uid == 0 || (device.st_mode & 0006) == 0006) return true;
    if (user->pw_uid == device.st_uid) return (device.st_mode & 0600) == 0600;
    if ((device.st_mode & 0060) != 0060) return false;
    std::vector<gid_t> groups(64);
    int count = static_cast<int>(groups.size());
    if (getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) return true;
    groups.resize(static_cast<size_t>(count));
    return std::find(groups.begin(), groups.end(), device.st_gid) != groups.end();
}

bool isSilent(const sPlaces& places, const sSlotSetup& setup) {
    const sStatusFile file = readStatusFile(places, setup.slot);
    return setup.pid != 0 && file.state == eStatusFile::GOOD && isModemSilent(file.record);
}

// Root, unless the daemon runs as another user.
uid_t daemonsUser(const sPlaces& places, const sSlotSetup& setup) {
    struct stat info {};
    const std::string process = places.at("/proc/" + std::to_string(setup.pid));
    return setup.pid != 0 && stat(process.c_str(), &info) == 0 ? info.st_uid : 0;
}

sFinding rightsOf(const sPlaces& places, const sSlotSetup& setup) {
    struct stat info {};
    stat(places.at(setup.device).c_str(), &info);
    const passwd* user = getpwuid(daemonsUser(places, setup));
    const std::string rule = "add a udev rule with GROUP=\"dialout\", MODE=\"0660\"";
    if (!mayUse(user, info))
        return {
            eHealth::BROKEN, "port",
            std::string("the daemon's user ") + user->pw_name + " has no access to " + setup.device,
            rule};
    if ((info.st_mode & 0006) != 0)
        return {eHealth::NOTE, "port",
                "every user can access " + setup.device + ", and with it messages and PIN", rule};
    return {eHealth::FINE, "port", setup.device + " exists", ""};
}

void checkGpsTools(const sPlaces& places, const sSlotSetup& setup, tFindings& findings) {
    for (const char* tool : {"gpsd", "gpsdctl"})
        if (findOnPath(places, setup.path + ":/usr/sbin:/usr/bin", tool).empty())
            findings.push_back({eHealth::NOTE, "gps", std::string(tool) + " is not installed",
                                "install gpsd, or set CM_GPS_ENABLE=no"});
    const std::string timeout = findOnPath(places, setup.path, "timeout");
    const std::string nothing = findOnPath(places, setup.path, "true");
    if (timeout.empty() || runQuietly({timeout, "-t", TIMEOUT_TRIAL_S, nothing}, setup.path) != 0)
        findings.push_back({eHealth::BROKEN, "gps",
                            "timeout does not accept -t: gpsd never gets the port",
                            "put the folder of the host tools first on the daemon's PATH"});
}

void checkGpsPort(const sPlaces& places, const sSlotSetup& setup, tFindings& findings) {
    if (setup.gpsDevice.empty()) {
        findings.push_back(notKnown(setup, "gps", "--gps"));
        return;
    }
    const sFinding port = portAt(places, "gps", setup.gpsDevice);
    if (port.health != eHealth::FINE) {
        findings.push_back({port.health, port.subject, port.text + ": no positions",
                            port.mend + "; or set CM_GPS_ENABLE=no"});
        return;
    }
    struct stat info {};
    // gpsd drops root before it opens a device.
    if (stat(places.at(setup.gpsDevice).c_str(), &info) == 0 && !mayUse(getpwnam("gpsd"), info))
        findings.push_back({eHealth::BROKEN, "gps", "user gpsd has no access to " + setup.gpsDevice,
                            "add a udev rule with GROUP=\"dialout\", MODE=\"0660\""});
}

bool isLinkDown(const sPlaces& places, const std::string& interface) {
    std::ifstream file(places.at("/sys/class/net/" + interface + "/flags"));
    unsigned flags = IFF_UP;
    file >> std::hex >> flags;
    return file && (flags & IFF_UP) == 0;
}

// What the interface of a session lacks; nullptr when it has everything, or there is no session.
const char* lostByInterface(const sPlaces& places, const sSlotSetup& setup) {
    if (setup.pid == 0) return nullptr;
    if (statusValue(places, setup.slot, STATUS_QMI_STATE) != SESSION_CONNECTED) return nullptr;
    if (isLinkDown(places, setup.interface)) return " is down";
    const bool hasAddress = !reportSlot(places, setup.slot, currentMoment()).addresses.empty();
    return hasAddress ? nullptr : " has no address";
}

bool isReadOnly(const std::string& folder) {
    struct statvfs info {};
    return statvfs(folder.c_str(), &info) == 0 && (info.f_flag & ST_RDONLY) != 0;
}

sFinding pinFile(const sPlaces& places, const std::string& path, uid_t owner) {
    struct stat info {};
    if (lstat(places.at(path).c_str(), &info) != 0) return {eHealth::FINE, "pin", "", ""};
    if (S_ISLNK(info.st_mode))
        return {eHealth::BROKEN, "pin", path + " is a link",
                "rm " + path + ", then: cellslot pin set"};
    if (info.st_uid != owner)
        return {eHealth::BROKEN, "pin", path + " belongs to another user",
                "chown root " + path + "; change the PIN"};
    if ((info.st_mode & 077) != 0)
        return {eHealth::BROKEN, "pin", "others can read " + path, "chmod 600 " + path};
    return {eHealth::FINE, "pin", "", ""};
}

// ---- power

// A tool of the gateway's maker may not use slots.conf.
bool mentionsSlotsFile(const std::string& tool) {
    constexpr size_t TOOL_MAX = 65536;
    std::string text;
    return readFile2String(tool, text, TOOL_MAX) && text.find(SLOTS_FILE) != std::string::npos;
}

using tActions = std::set<std::string>;

// The actions that slots.conf has for a slot: the second words of its lines.
tActions slotsFileActions(const sPlaces& places, int slot) {
    tActions actions;
    std::ifstream file(places.at(SLOTS_FILE));
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string number;
        std::string action;
        if (words >> number >> action && number == std::to_string(slot)) actions.insert(action);
    }
    return actions;
}

}  // namespace

tFindings checkInstance(const sPlaces& places, const sSlotSetup& setup) {
    const std::vector<int> daemons = daemonsOf(places, setup.slot);
    if (daemons.size() > 1)
        return {{eHealth::BROKEN, "daemon",
                 std::to_string(daemons.size()) + " daemons are running for this slot",
                 std::string("stop all but the service: ps -ef | grep ") + DAEMON_NAME}};
    if (setup.pid != 0)
        return {{eHealth::FINE, "daemon", "running as process " + std::to_string(setup.pid), ""}};
    if (daemons.size() == 1)
        return {{eHealth::BROKEN, "daemon",
                 "process " + std::to_string(daemons.front()) +
                     " is running, but is not in its pid file " + pidFilePath(setup.slot),
                 "restart the daemon; /run should be a tmpfs"}};
    const sSlotReport report = reportSlot(places, setup.slot, currentMoment());
    const std::string start = howToStart(setup.slot, report.data);
    if (isPowerOff(report.data.value))
        return {{eHealth::NOTE, "daemon", noDaemonReason(report), start}};
    return {{eHealth::BROKEN, "daemon", noDaemonReason(report),
             start + "; to see why it ended: journalctl -t " + DAEMON_NAME}};
}

tFindings checkStatusFile(const sPlaces& places, const sSlotSetup& setup) {
    if (setup.pid == 0) return {};
    struct stat info {};
    const std::string path = statusFilePath(setup.slot);
    const std::string mend =
        std::string("check free space in ") + STATUS_FOLDER + ", and journalctl -t " + DAEMON_NAME;
    if (stat(places.at(path).c_str(), &info) != 0)
        return {{eHealth::NOTE, "status", path + " does not exist yet", mend}};
    const long long ageS = time(nullptr) - info.st_mtime;
    if (ageS <= STATUS_LATE_S) return {{eHealth::FINE, "status", path + " is up to date", ""}};
    return {{eHealth::BROKEN, "status",
             path + " has not been updated for " + std::to_string(ageS / 60) + " minutes", mend}};
}

tFindings checkDevice(const sPlaces& places, const sSlotSetup& setup) {
    if (setup.device.empty()) return {notKnown(setup, "port", "--device")};
    const sFinding port = portAt(places, "port", setup.device);
    if (port.health != eHealth::FINE) return {port};
    tFindings findings = {rightsOf(places, setup)};
    if (isSilent(places, setup))
        findings.push_back({eHealth::NOTE, "port",
                            "the modem has not answered yet on " + setup.device,
                            "if that lasts longer than a minute, the AT port may be another one: "
                            "write its number into " +
                                std::string(SLOTS_FILE) + " (installation.md)"});
    return findings;
}

tFindings checkHolders(const sPlaces& places, const sSlotSetup& setup) {
    tFindings findings;
    for (const std::string& device : {setup.device, setup.gpsDevice}) {
        if (device.empty()) continue;
        const bool isGpsdsOwn = device == setup.gpsDevice;
        for (const int pid : portHolders(places, device)) {
            const bool isMeant = pid == setup.pid || pid == getpid() ||
                                 (isGpsdsOwn && processName(places, pid) == "gpsd");
            if (!isMeant) findings.push_back(heldBy(places, device, pid));
        }
    }
    if (findings.empty() && geteuid() != 0)
        findings.push_back({eHealth::NOTE, "port", "only root can see which programs have it open",
                            "run cellslot doctor as root"});
    return findings;
}

tFindings checkInterface(const sPlaces& places, const sSlotSetup& setup) {
    const std::string& name = setup.interface;
    if (name.empty()) return {notKnown(setup, "interface", "--interface")};
    if (!isInterfaceName(name))
        return {{eHealth::BROKEN, "interface",
                 "'" + blankControlCharacters(name) + "' is not an interface name",
                 "start the daemon with a valid name, such as -i wwan0"}};
    if (!places.have("/sys/class/net/" + name))
        return {{eHealth::BROKEN, "interface", name + " does not exist",
                 "check the name (ls /sys/class/net) and the modem's network driver"}};
    const char* lost = lostByInterface(places, setup);
    if (lost != nullptr)
        return {{eHealth::BROKEN, "interface", name + lost + ", although the session is up",
                 "cellslot data off" + option(setup) + "; cellslot data auto" + option(setup) +
                     "; if that comes again, exclude " + name + " from the host's DHCP client"}};
    return {{eHealth::FINE, "interface", name + " exists", ""}};
}

tFindings checkConfiguration(const sPlaces& places, const sSlotSetup& setup) {
    const std::string path = configPlace(places, setup.slot);
    if (access(path.c_str(), R_OK) != 0 && errno == EACCES)
        return {{eHealth::NOTE, "config", path + " cannot be read by this user",
                 "run cellslot doctor as root"}};
    const sConfigReport report = checkConfig(path);
    if (!report.readable)
        return {{eHealth::BROKEN, "config",
                 path + " is missing or cannot be read, so there is no data",
                 "create it as cellslot.conf(5) describes"}};
    tFindings findings;
    struct stat info {};
    if (stat(path.c_str(), &info) == 0 && (info.st_mode & 022) != 0)
        findings.push_back(
            {eHealth::BROKEN, "config", "others can change " + path, "chmod go-w " + path});
    else if ((info.st_mode & 044) != 0 && !inForce(report, CM_PASSWORD).empty())
        findings.push_back({eHealth::NOTE, "config",
                            path + " contains a password, and others can read it",
                            "chmod 600 " + path});
    if (const size_t count = report.findings.size(); count != 0)
        findings.push_back(
            {eHealth::NOTE, "config",
             std::to_string(count) + (count == 1 ? " finding in " : " findings in ") + path,
             "cellslot config check -q" + option(setup)});
    const std::string enabled = inForce(report, CM_ENABLE_INTERFACE);
    if (enabled != "yes")
        findings.push_back({eHealth::NOTE, "config",
                            std::string(CM_ENABLE_INTERFACE) + " is " + enabled,
                            "set it to yes if data is wanted"});
    if (findings.empty())
        findings.push_back({eHealth::FINE, "config", "no findings in " + path, ""});
    return findings;
}

// Only the folder's owner may know the PINs.
tFindings checkPinFiles(const sPlaces& places, const sSlotSetup& setup) {
    struct stat folder {};
    if (stat(places.at(SETTINGS_FOLDER).c_str(), &folder) != 0) return {};
    if (access(places.at(SETTINGS_FOLDER).c_str(), X_OK) != 0)
        return {{eHealth::NOTE, "pin", "only root can see the PIN files",
                 "run cellslot doctor as root"}};
    tFindings findings;
    if ((folder.st_mode & 022) != 0)
        findings.push_back({eHealth::BROKEN, "pin",
                            std::string("others can write to ") + SETTINGS_FOLDER,
                            std::string("chmod 700 ") + SETTINGS_FOLDER});
    const std::string pin = pinFilePath(setup.slot);
    if (isReadOnly(places.at(SETTINGS_FOLDER)) && !isEmptied(places, pin))
        findings.push_back({eHealth::BROKEN, "pin",
                            std::string(SETTINGS_FOLDER) +
                                " is read-only: a PIN that the SIM refuses stays in its file and "
                                "costs an attempt at each start of the host",
                            "mount it writable, or remove " + pin});
    for (const std::string& path :
         {pin, pinRequestPath(setup.slot), pinChangePath(setup.slot), pukFilePath(setup.slot)}) {
        const sFinding finding = pinFile(places, path, folder.st_uid);
        if (finding.health != eHealth::FINE) findings.push_back(finding);
    }
    if (findings.empty())
        findings.push_back({eHealth::FINE, "pin", "others cannot read any PIN", ""});
    return findings;
}

tFindings checkOverride(const sPlaces& places, const sSlotSetup& setup) {
    const eDataOverride value = dataOverride(places, setup.slot);
    const std::string path = overrideFilePath(value, setup.slot);
    const std::string mend = "cellslot data auto" + option(setup);
    switch (value) {
        case eDataOverride::AUTO:
            return {};
        case eDataOverride::ON:
            return {{eHealth::NOTE, "override", path + " keeps data on", mend}};
        case eDataOverride::OFF:
            return {{eHealth::NOTE, "override", path + " keeps data off", mend}};
        case eDataOverride::POWER_OFF:
            return {{eHealth::NOTE, "override", path + " keeps the modem off", mend}};
    }
    return {};
}

tFindings checkGps(const sPlaces& places, const sSlotSetup& setup) {
    const sConfigReport report = checkConfig(configPlace(places, setup.slot));
    if (!report.readable || inForce(report, CM_GPS_ENABLE) != "yes") return {};
    tFindings findings;
    checkGpsPort(places, setup, findings);
    checkGpsTools(places, setup, findings);
    if (findings.empty())
        findings.push_back({eHealth::FINE, "gps", "port and gpsd are present", ""});
    return findings;
}

tFindings checkPowerSwitch(const sPlaces& places, const sSlotSetup& setup) {
    const std::string tool = findOnPath(places, setup.path, "sledctl");
    if (tool.empty() || !mentionsSlotsFile(tool)) return {};
    const tActions actions = slotsFileActions(places, setup.slot);
    const auto has = [&](const char* action) { return actions.count(action) != 0; };
    if (has("reset") || has("usb") || (has("off") && has("on")))
        return {{eHealth::FINE, "power",
                 std::string(SLOTS_FILE) + " describes the slot's power switch", ""}};
    return {
        {eHealth::NOTE, "power", "a modem that hangs cannot be power-cycled; everything else works",
         "describe the slot's power switch in " + std::string(SLOTS_FILE) + " (host-tools.md)"}};
}

const std::vector<tCheck>& slotChecks() {
    static const std::vector<tCheck> checks = {
        checkInstance,      checkStatusFile, checkDevice,      checkHolders,
        checkManagers,      checkInterface,  checkNameServers, checkOverride,
        checkConfiguration, checkPinFiles,   checkGps,         checkPowerSwitch};
    return checks;
}
