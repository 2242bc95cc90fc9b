#include "cli/doctor/doctor_host_checks.h"

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>

#include "cli/doctor/neighbour_checks.h"
#include "cli/doctor/quiet_run.h"
#include "published/at_request.h"
#include "published/host_boot.h"
#include "published/installation.h"
#include "published/paths.h"
#include "published/sms_spool.h"

namespace {

constexpr unsigned long long MIB = 1024 * 1024;
constexpr unsigned long long SPACE_NEEDED = MIB;
constexpr unsigned long long SPACE_SCARCE = 8 * MIB;
constexpr time_t CLOCK_PLAUSIBLE = 1704067200;  // 2024-01-01

struct sTool {
    const char* name;
    eHealth missing;
    const char* without;  // what does not work
};

const sTool TOOLS[] = {
    {"setup_cellint.sh", eHealth::BROKEN, "no session can start"},
    {"ip", eHealth::BROKEN, "the interface cannot be set up"},
    {"flock", eHealth::BROKEN, "the interface cannot be set up"},
    {"ping", eHealth::NOTE, "a dead session is not noticed"},
    {"systime.sh", eHealth::NOTE, "the clock is not set from the network"},
    {"ResetCellular", eHealth::NOTE, "a modem that hangs is not reset"},
    {"sledctl", eHealth::NOTE, "the modem's power cannot be switched"},
};

const char* const FOLDERS[] = {SHARED_FOLDER, STATUS_FOLDER, "/run"};

std::string mib(unsigned long long bytes) {
    return std::to_string(bytes / MIB) + " MB free";
}

sFinding spaceIn(const sPlaces& places, const std::string& folder) {
    const std::string mend = "delete files that are not needed, or enlarge " + folder;
    struct statvfs info {};
    if (statvfs(places.at(folder).c_str(), &info) != 0)
        return {eHealth::BROKEN, "space", folder + ": " + strerror(errno), "create the folder"};
    if ((info.f_flag & ST_RDONLY) != 0)
        return {eHealth::BROKEN, "space", folder + " is read-only",
                "mount it writable, or mount a tmpfs there"};
    const unsigned long long free = static_cast<unsigned long long>(info.f_bavail) * info.f_frsize;
    if (free < SPACE_NEEDED) return {eHealth::BROKEN, "space", folder + " is full", mend};
    if (info.f_files != 0 && info.f_favail == 0)
        return {eHealth::BROKEN, "space", folder + " has no free inodes", mend};
    if (free < SPACE_SCARCE) return {eHealth::NOTE, "space", folder + " has " + mib(free), mend};
    return {eHealth::FINE, "space", folder + " has " + mib(free), ""};
}

}  // namespace

// The daemon's commands end in "&>/dev/null". A shell that does not know "&>" runs them in the
// background and reports success. The service replaces /bin/sh by bash, for the daemon alone.
tFindings checkShell(const sPlaces& places, const sSlotSetup& setup) {
    const std::string daemonsRoot = "/proc/" + std::to_string(setup.pid) + "/root";
    if (setup.pid != 0 && access(places.at(daemonsRoot).c_str(), X_OK) != 0 && errno == EACCES)
        return {{eHealth::NOTE, "shell", "only root can see the daemon's /bin/sh",
                 "run cellslot doctor as root"}};
    const std::string daemonsShell = daemonsRoot + "/bin/sh";
    const std::string shell = places.at(places.have(daemonsShell) ? daemonsShell : "/bin/sh");
    const int status = runQuietly({shell, "-c", "false &>/dev/null"}, setup.path);
    if (status == 1) return {{eHealth::FINE, "shell", "/bin/sh understands &>", ""}};
    if (setup.pid == 0 && status == 0 && places.have("/run/systemd/system") &&
        places.have(SERVICE_UNIT))
        return {{eHealth::NOTE, "shell", "/bin/sh does not understand &>",
                 "start the daemon only as a service, which gives it bash"}};
    return {{eHealth::BROKEN, "shell",
             status < 0 ? "/bin/sh cannot be run"
                        : "/bin/sh does not understand &>: failures of host tools go unnoticed",
             "link /bin/sh to bash or busybox"}};
}

tFindings checkTools(const sPlaces& places, const sSlotSetup& setup) {
    tFindings findings;
    for (const sTool& tool : TOOLS)
        if (findOnPath(places, setup.path, tool.name).empty())
            findings.push_back(
                {tool.missing, "tools",
                 std::string(tool.name) + " is not on the daemon's PATH: " + tool.without,
                 "install it, or add its folder to the daemon's PATH"});
    if (findings.empty())
        findings.push_back({eHealth::FINE, "tools", "all host tools are on the daemon's PATH", ""});
    return findings;
}

tFindings checkSlotsFile(const sPlaces& places, const sSlotSetup& /*setup*/) {
    const std::string name = SLOTS_FILE;
    struct stat info {};
    if (stat(places.at(name).c_str(), &info) != 0) return {};
    if ((info.st_mode & 022) == 0)
        return {{eHealth::FINE, "power", "only root can change " + name, ""}};
    return {{eHealth::BROKEN, "power", "others can change " + name + ", whose commands run as root",
             "chmod go-w " + name}};
}

tFindings checkSpace(const sPlaces& places, const sSlotSetup& /*setup*/) {
    tFindings findings;
    for (const char* folder : FOLDERS)
        findings.push_back(spaceIn(places, folder));
    return findings;
}

tFindings checkClock(const sPlaces& /*places*/, const sSlotSetup& /*setup*/) {
    const time_t now = time(nullptr);
    if (now >= CLOCK_PLAUSIBLE) return {{eHealth::FINE, "clock", "the clock is set", ""}};
    return {{eHealth::NOTE, "clock",
             "the clock shows a time before 2024; messages are deleted as too old when it is set",
             "wait for the network time (CM_SYNC_TIME=yes), or set the clock"}};
}

tFindings checkBoot(const sPlaces& places, const sSlotSetup& /*setup*/) {
    std::ifstream file(places.at("/proc/uptime"));
    double uptimeS = 0;
    if (file >> uptimeS && hostBoot(places.root, uptimeS) == eHostBoot::BOOTING)
        return {{eHealth::NOTE, "boot", "the host is still booting; data waits until it has booted",
                 std::string("wait three minutes, or create ") + BOOTED_FILE}};
    return {{eHealth::FINE, "boot", "the host has booted", ""}};
}

tFindings checkMessages(const sPlaces& places, const sSlotSetup& setup) {
    const std::string name = SMS_SPOOL_ROOT;
    struct stat info {};
    if (lstat(places.at(name).c_str(), &info) != 0) {
        if (setup.pid == 0) return {{eHealth::FINE, "messages", "no message spool yet", ""}};
        return {{eHealth::BROKEN, "messages",
                 name + " does not exist, although the daemon is running",
                 std::string("check free space and permissions of ") + SHARED_FOLDER +
                     ", then restart the daemon"}};
    }
    struct stat parent {};
    stat(places.at(SHARED_FOLDER).c_str(), &parent);
    const std::string mend = "stop the daemon, rm -r " + name + ", start it again";
    if (!S_ISDIR(info.st_mode))
        return {{eHealth::BROKEN, "messages", name + " is not a folder", mend}};
    if (info.st_uid != parent.st_uid)
        return {{eHealth::BROKEN, "messages",
                 name + " belongs to another user, who can read and forge messages", mend}};
    if ((info.st_mode & 022) != 0)
        return {{eHealth::BROKEN, "messages", "others can write to " + name, "chmod 700 " + name}};
    return {{eHealth::FINE, "messages", name + " belongs to the daemon alone", ""}};
}

tFindings checkRequests(const sPlaces& places, const sSlotSetup& /*setup*/) {
    tFindings findings;
    std::vector<std::string> suffixes = {""};
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        suffixes.push_back(atSlotSuffix(slot));
    for (const std::string& suffix : suffixes) {
        struct stat info {};
        const std::string name = atRequestFile(SHARED_FOLDER, suffix);
        if (lstat(places.at(name).c_str(), &info) == 0 && S_ISDIR(info.st_mode))
            findings.push_back({eHealth::BROKEN, "requests",
                                name + " is a folder: no AT command can be sent", "rmdir " + name});
    }
    return findings;
}

const std::vector<tCheck>& hostChecks() {
    static const std::vector<tCheck> checks = {checkShell,    checkTools,    checkSlotsFile,
                                               checkSpace,    checkClock,    checkBoot,
                                               checkMessages, checkRequests, checkResolver};
    return checks;
}
