#include "statemachine/data_connection.h"

#include <sys/stat.h>

#include <ctime>

#include "include/debug.h"
#include "include/options.h"

const std::string CELL_OVERRIDE_PATH = "/tmp";
const std::string CELL_CONNECT_OVERRIDE_FILE = "force_cell_con";
const std::string CELL_NOCONNECT_OVERRIDE_FILE = "force_cell_nocon";
const std::string CELL_POWER_OFF_OVERRIDE_FILE = "force_cell_tempoff";

namespace {

constexpr unsigned BOOT_S = 180;
constexpr unsigned BOOT_MESSAGE_EVERY = 10;
constexpr const char* BOOTED_FILE = "/var/run/poststart";

// The answers of getTempDataDirective that have another meaning as stored directives.
constexpr eCfgDataStatus OVERRIDE_CONNECTION_OFF = eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM;
constexpr eCfgDataStatus OVERRIDE_NONE = eCONF_DATA_CONNECT_TEMP_DISABLED;

struct sDataConnectionState {
    eCfgDataStatus previousOverride = eCONF_DATA_CONNECT_DISABLED;
    bool booted = false;
    unsigned bootCalls = 0;
};

sDataConnectionState g_dataState;

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

struct sOverrideRow {
    const std::string& file;
    eCfgDataStatus value;
    const char* what;
    const char* effect;
};

// The first that exists counts.
const sOverrideRow OVERRIDES[] = {
    {CELL_CONNECT_OVERRIDE_FILE, eCONF_DATA_CONNECT_TEMP_ENABLED, "Connection ON",
     "starting data connection"},
    {CELL_NOCONNECT_OVERRIDE_FILE, OVERRIDE_CONNECTION_OFF, "Connection OFF",
     "stopping data connection"},
    {CELL_POWER_OFF_OVERRIDE_FILE, eCONF_DATA_CONNECT_TEMP_MODEM_OFF, "Power OFF",
     "powering device off"},
};

struct sDirective {
    eCfgDataStatus stored;
    int answer;
};

sDirective decide(eCfgDataStatus overridden, int enableInterface) {
    if (overridden == eCONF_DATA_CONNECT_TEMP_ENABLED)
        return {eCONF_DATA_CONNECT_TEMP_ENABLED, DATA_CONNECTION_ALLOWED};
    if (overridden == OVERRIDE_CONNECTION_OFF)
        return {eCONF_DATA_CONNECT_TEMP_DISABLED, DATA_CONNECTION_NOT_NOW};
    if (overridden == eCONF_DATA_CONNECT_TEMP_MODEM_OFF)
        return {eCONF_DATA_CONNECT_TEMP_MODEM_OFF, DATA_CONNECTION_POWER_OFF};
    if (enableInterface == 0) return {eCONF_DATA_CONNECT_DISABLED, DATA_CONNECTION_NOT_NOW};
    if (enableInterface == -1) return {eCONF_DATA_CONNECT_MODEM_OFF, DATA_CONNECTION_POWER_OFF};
    return {eCONF_DATA_CONNECT_ENABLED, DATA_CONNECTION_ALLOWED};
}

}  // namespace

void resetDataConnectionState() {
    g_dataState = {};
}

int isDataConnectionAllowed(sConfigFileOpts& config, const std::string& overrideDirectory) {
    traceEntry(eLOG_STATE, __func__);
    const sDirective directive =
        decide(getTempDataDirective(overrideDirectory), config.enableInterface);
    setDataDirective(config, directive.stored);
    if (directive.answer != DATA_CONNECTION_ALLOWED || checkSystemBooted()) return directive.answer;
    setDataDirective(config, eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM);
    return DATA_CONNECTION_NOT_NOW;
}

eCfgDataStatus getTempDataDirective(const std::string& overrideDirectory) {
    eCfgDataStatus found = OVERRIDE_NONE;
    for (const sOverrideRow& row : OVERRIDES) {
        const std::string path = overrideDirectory + "/" + row.file + "." + g_S_options.s_port;
        if (!exists(path)) continue;
        found = row.value;
        if (found != g_dataState.previousOverride)
            debug(eLOG_NOTICE, g_i_debugMode, "%s Override file appeared (%s), %s", row.what,
                  path.c_str(), row.effect);
        break;
    }
    g_dataState.previousOverride = found;
    return found;
}

bool checkSystemBooted() {
    if (g_dataState.booted) return true;
    if (exists(BOOTED_FILE)) {
        debug(eLOG_NOTICE, g_i_debugMode, "File %s is present, system is up", BOOTED_FILE);
        return g_dataState.booted = true;
    }
    const unsigned uptimeS = getSystemUptime();
    if (uptimeS <= BOOT_S) {
        if (g_dataState.bootCalls++ % BOOT_MESSAGE_EVERY == 0)
            debug(eLOG_NOTICE, g_i_debugMode, "Waiting for system to finish booting up (%ld/%d)",
                  static_cast<long>(uptimeS), static_cast<int>(BOOT_S));
        return false;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "System uptime longer than %d seconds, system is up",
          static_cast<int>(BOOT_S));
    return g_dataState.booted = true;
}

unsigned getSystemUptime() {
    timespec now;
    return clock_gettime(CLOCK_MONOTONIC, &now) == 0 ? static_cast<unsigned>(now.tv_sec) : 0;
}

int connectionStarted(int) {
    return 1;
}
