#include "config/config_reader.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

#include "include/debug.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"

namespace {

// debug() cuts there anyway.
constexpr size_t LINE_SIZE = 2048;

__attribute__((format(printf, 1, 0))) std::string formatLine(const char* format,
                                                             va_list arguments) {
    char line[LINE_SIZE];
    vsnprintf(line, sizeof line, format, arguments);
    return line;
}

}  // namespace

cConfigReader::cConfigReader() : m_bands4g(g_M_4GBandBits), m_bands3g(g_M_3GBandBits) {}

bool cConfigReader::init(const std::string& path, uint64_t mask) {
    m_debugMask = mask;
    trace(__func__);
    if (path.empty()) {
        notice("Error: cConfigReader(): Missing /path/config_file");
        return false;
    }
    m_configPath = path;
    return true;
}

void cConfigReader::resetConfigValues(sConfigFileOpts& opts) {
    trace(__func__);
    sConfigFileOpts defaults;
    defaults.md5 = opts.md5;
    defaults.netPref = opts.netPref;
    opts = std::move(defaults);
    setDataDirective(opts, eCONF_DATA_CONNECT_ENABLED);
}

unsigned cConfigReader::readConfig(sConfigFileOpts& opts) {
    trace(__func__);
    std::string digest;
    if (!readDigest(digest)) return useDefaults(opts);
    if (digest == opts.md5) {
        notice("Config file updated, but MD5 did not change: '%s'", digest.c_str());
        return eCONFIG_UNCHANGED;
    }
    const std::string lastDigest = opts.md5;
    notice("Config %s MD5 changed from: '%s' to '%s'", m_configPath.c_str(), lastDigest.c_str(),
           digest.c_str());
    opts.md5 = digest;
    resetConfigValues(opts);
    opts.configRead = true;
    notice("Reading config file %s", m_configPath.c_str());

    cTextLookupTable table = loadTable();
    if (!loadStableTable(opts, table)) {
        opts.md5 = lastDigest;
        return useDefaults(opts);
    }
    applyKeys(table, opts);
    return eCONFIG_APPLIED;
}

bool cConfigReader::readDigest(std::string& digest) {
    std::string content;
    if (!readFile2String(m_configPath, content, CONFIG_FILE_MAX + 1)) return false;
    if (content.size() > CONFIG_FILE_MAX) return false;
    digest = getMd5(content);
    return true;
}

unsigned cConfigReader::useDefaults(sConfigFileOpts& opts) {
    notice("Config file %s is missing or not accessible, using defaults", m_configPath.c_str());
    notice("Without a config file no SIM slot is set, and no data connection can be started");
    resetConfigValues(opts);
    return eCONFIG_MISSING;
}

cTextLookupTable cConfigReader::loadTable() {
    writeLine(eLOG_CONFIG, "readConfig(): Passing file '" + m_configPath + "' to cTextLookupTable");
    return cTextLookupTable(m_configPath, '=');
}

// The table reads the file by itself. If the file changed after its digest was computed, the new
// content would be stored under the old digest and never be read again, so it is read once more.
// False if the file has been removed meanwhile.
bool cConfigReader::loadStableTable(sConfigFileOpts& opts, cTextLookupTable& table) {
    std::string digest;
    if (!readDigest(digest)) return false;
    if (digest == opts.md5) return true;
    notice("Config %s MD5 changed from: '%s' to '%s'", m_configPath.c_str(), opts.md5.c_str(),
           digest.c_str());
    opts.md5 = digest;
    table = loadTable();
    return true;
}

std::string cConfigReader::getRawValue(const std::string& key, const cTextLookupTable& table) {
    trace(__func__);
    if (!table.DoesEntryExist(key)) return "";
    return table.GetEntryByLabel(key)[1];
}

std::string cConfigReader::getValue(const std::string& key, const cTextLookupTable& table) {
    trace(__func__);
    return stringLower(cleanBeginEndWhiteSpace(getRawValue(key, table)));
}

void cConfigReader::applyKeys(const cTextLookupTable& table, sConfigFileOpts& opts) {
    for (const sConfigKey& key : configKeys()) {
        const bool isBandList = key.bands != eConfigBands::NO_LIST;
        if (isBandList && opts.bandMode != eBAND_MODE_MANUAL) continue;
        startKey(key);
        const std::string value =
            key.read == eConfigRead::RAW ? getRawValue(key.name, table) : getValue(key.name, table);
        (this->*key.option)(key.name, value, opts);
        if (key.bands == eConfigBands::LAST) checkManualBands(opts);
    }
}

// AT#BND sets the bands of all technologies at once, so one band list alone is useless.
void cConfigReader::checkManualBands(sConfigFileOpts& opts) {
    if (opts.band3gBits != 0 && opts.band4gBits != 0) {
        notice("Config band options for 3G/4G options are valid");
        return;
    }
    opts.bandMode = eBAND_MODE_AUTO;
    opts.band3gText.clear();
    opts.band4gText.clear();
    opts.band3gBits = 0;
    opts.band4gBits = 0;
    notice("Error: Config option %s set to Auto Mode, 3G/4G options are not valid", CM_BAND_MODE);
}

void cConfigReader::writeLine(uint64_t category, const std::string& line) {
    debug(category, m_debugMask, "%s", blankControlCharacters(line).c_str());
}

void cConfigReader::trace(const char* function) {
    writeLine(eLOG_CONFIG, std::string("Entering ") + function + "()");
}

void cConfigReader::notice(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string line = formatLine(format, arguments);
    va_end(arguments);
    writeLine(eLOG_NOTICE, line);
}

void cConfigReader::detail(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const std::string line = formatLine(format, arguments);
    va_end(arguments);
    writeLine(eLOG_CONFIG_DETAIL, line);
}

const std::vector<sConfigKey>& configKeys() {
    using c = cConfigReader;
    constexpr eConfigRead TRIMMED = eConfigRead::TRIMMED;
    constexpr eConfigRead RAW = eConfigRead::RAW;
    constexpr eConfigBands NO_LIST = eConfigBands::NO_LIST;
    constexpr eConfigBands LIST = eConfigBands::LIST;
    constexpr eConfigBands LAST = eConfigBands::LAST;
    // clang-format off
    static const std::vector<sConfigKey> keys = {
        {DEBUG_MODE,          TRIMMED, NO_LIST, &c::getConfigOptionDebug,        "0",      "hexadecimal number"},
        {CM_ENABLE_INTERFACE, TRIMMED, NO_LIST, &c::getConfigOptionEnableInt,    "no",     "yes, no or off"},
        {CM_APN,              RAW,     NO_LIST, &c::getConfigOptionApn,          "",       "1 to 104 letters, digits, blanks and .-_!"},
        {CM_APN2,             RAW,     NO_LIST, &c::getConfigOptionApn2,         "",       "1 to 104 letters, digits, blanks and .-_!"},
        {CM_SYNC_TIME,        TRIMMED, NO_LIST, &c::getConfigOptionSyncTime,     "yes",    "yes or no"},
        {CM_DATA_SPEED,       TRIMMED, NO_LIST, &c::getConfigOptionNetPref,      "",       "auto, 2g3g4g, 3g4g, 4g, 3g or 2g"},
        {CM_ROAMING,          TRIMMED, NO_LIST, &c::getConfigOptionRoaming,      "auto",   "home or auto"},
        {CM_DEFAULTROUTE,     TRIMMED, NO_LIST, &c::getConfigOptionDefaultRoute, "yes",    "yes or no"},
        {CM_USERNAME,         RAW,     NO_LIST, &c::getConfigOptionUser,         "",       "1 to 63 characters, no tabs or other control characters"},
        {CM_PASSWORD,         RAW,     NO_LIST, &c::getConfigOptionPassword,     "",       "1 to 63 characters, no tabs or other control characters"},
        {CM_AUTH_TYPE,        TRIMMED, NO_LIST, &c::getConfigOptionAuthType,     "",       "pap, chap or off"},
        {CM_FW_SLOT,          TRIMMED, NO_LIST, &c::getConfigOptionFirmwareSlot, "",       "0 or 1"},
        {CM_USE_DNS,          TRIMMED, NO_LIST, &c::getConfigOptionDNS,          "yes",    "yes or no"},
        {CM_MTU,              TRIMMED, NO_LIST, &c::getConfigOptionMTU,          "1500",   "60 to 1500"},
        {CM_OPERATOR_MODE,    TRIMMED, NO_LIST, &c::getConfigOptionOperatorMode, "0",      "0, 1 or 4"},
        {CM_OPERATOR,         RAW,     NO_LIST, &c::getConfigOptionOperator,     "",       "5 or 6 digits, or a name of 1 to 28 characters, no tabs or other control characters"},
        {CM_BAND_MODE,        TRIMMED, NO_LIST, &c::getConfigOptionBand,         "auto",   "auto or manual"},
        {CM_3G_BAND,          TRIMMED, LIST,    &c::getConfigOptionBand3g,       "",       "0 to 7"},
        {CM_4G_BAND,          TRIMMED, LAST,    &c::getConfigOptionBand4g,       "",       "B1 to B32, separated by commas"},
        {CM_SIM_SLOT,         TRIMMED, NO_LIST, &c::getConfigOptionSimSlot,      "1",      "1 or 2"},
        {CM_GPS_ENABLE,       TRIMMED, NO_LIST, &c::getConfigOptionGpsEnable,    "yes",    "yes or no"},
        {CM_PTP_INT,          TRIMMED, NO_LIST, &c::getConfigOptionPtpOption,    "no",     "yes or no"},
        {CM_IPFAMILY,         TRIMMED, NO_LIST, &c::getConfigOptionIpFamily,     "ipv4v6", "ipv4v6, ipv4 or ipv6"},
    };
    // clang-format on
    return keys;
}
