#include "statemachine/data_connection.h"

#include "include/debug.h"
#include "include/options.h"
#include "published/data_override.h"
#include "published/host_boot.h"
#include "published/paths.h"

const std::string CELL_OVERRIDE_PATH = SHARED_FOLDER;
const std::string CELL_CONNECT_OVERRIDE_FILE = OVERRIDE_ON_NAME;
const std::string CELL_NOCONNECT_OVERRIDE_FILE = OVERRIDE_OFF_NAME;
const std::string CELL_POWER_OFF_OVERRIDE_FILE = OVERRIDE_POWER_OFF_NAME;

namespace {

constexpr unsigned BOOT_MESSAGE_EVERY = 10;

// The answers of getTempDataDirective that have another meaning as stored directives.
constexpr eCfgDataStatus OVERRIDE_CONNECTION_OFF = eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM;
constexpr eCfgDataStatus OVERRIDE_NONE = eCONF_DATA_CONNECT_TEMP_DISABLED;

struct sDataConnectionState {
    eDataOverride previousOverride = eDataOverride::AUTO;
    bool booted = false;
    unsigned bootCalls = 0;
};

sDataConnectionState g_dataState;

struct sOverrideRow {
    eDataOverride value;
    eCfgDataStatus answer;  // of getTempDataDirective
    const char* what;
    const char* effect;
};

const sOverrideRow OVERRIDES[] = {
    {eDataOverride::ON, eCONF_DATA_CONNECT_TEMP_ENABLED, "Connection ON",
     "starting data connection"},
    {eDataOverride::OFF, OVERRIDE_CONNECTION_OFF, "Connection OFF", "stopping data connection"},
    {eDataOverride::POWER_OFF, eCONF_DATA_CONNECT_TEMP_MODEM_OFF, "Power OFF",
     "powering device off"},
};

// What is in force; logged when it is new.
eDataOverride currentOverride(const std::string& directory) {
    const eDataOverride found = findOverride(directory, g_S_options.s_port);
    for (const sOverrideRow& row : OVERRIDES)
        if (row.value == found && found != g_dataState.previousOverride)
            debug(eLOG_NOTICE, g_i_debugMode, "%s Override file appeared (%s), %s", row.what,
                  overrideFileIn(directory, found, g_S_options.s_port).c_str(), row.effect);
    return g_dataState.previousOverride = found;
}

int answerTo(eCfgDataStatus wanted) {
    switch (wanted) {
        case eCONF_DATA_CONNECT_ENABLED:
        case eCONF_DATA_CONNECT_TEMP_ENABLED:
            return DATA_CONNECTION_ALLOWED;
        case eCONF_DATA_CONNECT_MODEM_OFF:
        case eCONF_DATA_CONNECT_TEMP_MODEM_OFF:
            return DATA_CONNECTION_POWER_OFF;
        case eCONF_DATA_CONNECT_UNKNOWN:
        case eCONF_DATA_CONNECT_DISABLED:
        case eCONF_DATA_CONNECT_HOLDOFF:
        case eCONF_DATA_CONNECT_TEMP_DISABLED:
        case eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM:
            break;
    }
    return DATA_CONNECTION_NOT_NOW;
}

}  // namespace

void resetDataConnectionState() {
    g_dataState = {};
}

int isDataConnectionAllowed(sConfigFileOpts& config, const std::string& overrideDirectory) {
    traceEntry(eLOG_STATE, __func__);
    const eCfgDataStatus wanted =
        wantedData(currentOverride(overrideDirectory), config.enableInterface);
    setDataDirective(config, wanted);
    if (!waitsForBoot(wanted) || checkSystemBooted()) return answerTo(wanted);
    setDataDirective(config, eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM);
    return DATA_CONNECTION_NOT_NOW;
}

eCfgDataStatus getTempDataDirective(const std::string& overrideDirectory) {
    const eDataOverride found = currentOverride(overrideDirectory);
    for (const sOverrideRow& row : OVERRIDES)
        if (row.value == found) return row.answer;
    return OVERRIDE_NONE;
}

bool checkSystemBooted() {
    if (g_dataState.booted) return true;
    const unsigned uptimeS = getSystemUptime();
    switch (hostBoot("", uptimeS)) {
        case eHostBoot::FILE_IS_THERE:
            debug(eLOG_NOTICE, g_i_debugMode, "File %s is present, system is up", BOOTED_FILE);
            return g_dataState.booted = true;
        case eHostBoot::UP_FOR_LONG:
            debug(eLOG_NOTICE, g_i_debugMode, "System uptime longer than %d seconds, system is up",
                  static_cast<int>(BOOT_S));
            return g_dataState.booted = true;
        case eHostBoot::BOOTING:
            break;
    }
    if (g_dataState.bootCalls++ % BOOT_MESSAGE_EVERY == 0)
        debug(eLOG_NOTICE, g_i_debugMode, "Waiting for system to finish booting up (%ld/%d)",
              static_cast<long>(uptimeS), static_cast<int>(BOOT_S));
    return false;
}

unsigned getSystemUptime() {
    return hostUptimeS();
}

int connectionStarted(int) {
    return 1;
}
