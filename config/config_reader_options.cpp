#include <algorithm>
#include <cinttypes>
#include <cstdlib>

#include "config/config_reader.h"
#include "include/debug.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"

// One accepted text of a key, what it means, and its log line, whose %s are the key and the value,
// in this order. Without a line nothing is logged. The row without text ends a list and applies to
// every other value.
struct sConfigChoice {
    const char* text;
    int meaning;
    const char* line;
};

namespace {

constexpr size_t APN_MAX = 104;
constexpr size_t OPERATOR_NAME_MAX = 28;
constexpr int MTU_MIN = 60;
constexpr int MTU_MAX = 1500;
constexpr int BAND_3G_MIN = 0;
constexpr int BAND_3G_MAX = 7;

constexpr const char* OPERATOR_AUTO = "0";
constexpr const char* OPERATOR_MANUAL = "1";
constexpr const char* OPERATOR_MANUAL_THEN_AUTO = "4";

constexpr const char* APN_CHARACTERS = "abcdefghijklmnopqrstuvwxyz0123456789 .-_!";

// The top four bits are no debug categories: error, notice and two spare bits.
constexpr uint64_t DEBUG_MODE_BITS = 0x0FFFFFFFFFFFFFFF;

constexpr int NO = 0;
constexpr int YES = 1;

// clang-format off
constexpr sConfigChoice ENABLE_INTERFACE_CHOICES[] = {
    {"yes",   1, "Config option %s is '%s', enabling WAN interface"},
    {"off",  -1, "Config option %s is 'OFF'"},
    {nullptr, 0, "Config option %s is '%s', disabling WAN interface"},
};

constexpr sConfigChoice SYNC_TIME_CHOICES[] = {
    {"yes",   YES, "Config option %s is '%s'.  Time sync will attempt every 4 hours"},
    {"no",    NO,  "Config option %s config option is set to '%s' (disabled)"},
    {nullptr, YES, "Config option %s unknown value '%s', allowing time sync (default)"},
};

// Here both %s are the text: it is decoded without its key.
constexpr sConfigChoice NET_PREF_CHOICES[] = {
    {"",       eNET_PREF_IGNORE, "Config Network Preference not set, ignoring"},
    {"AUTO",   eNET_PREF_AUTO,   "Config Network Preference set to AUTO"},
    {"3G4G",   eNET_PREF_AUTO,   "Config Network Preference set to AUTO"},
    {"2G3G4G", eNET_PREF_AUTO,   "Config Network Preference set to AUTO"},
    {"4G",     eNET_PREF_4G,     "Config Network Preference set to 4G Only"},
    {"3G",     eNET_PREF_3G,     "Config Network Preference set to 3G Only"},
    {"2G",     eNET_PREF_2G,     "Config Network Preference set to 2G Only"},
    {nullptr,  eNET_PREF_IGNORE, "Invalid config Network Preference set '%s', ignoring"},
};

constexpr sConfigChoice ROAMING_CHOICES[] = {
    {"home",  NO,  "Config option %s set to '%s', home network registration only (roaming not allowed)"},
    {"auto",  YES, "Config option %s set to '%s' (roaming allowed)"},
    {nullptr, YES, "Config option %s unknown value '%s', allowing roaming (default)"},
};

constexpr sConfigChoice DEFAULT_ROUTE_CHOICES[] = {
    {"no",    NO,  "Config option %s is '%s', WAN interface default route setting is off"},
    {nullptr, YES, "Config option %s is '%s' (enabled)"},
};

// "off" has two meanings: without credentials it clears what the modem has stored; with credentials
// it is refused.
constexpr sConfigChoice AUTH_CHOICES_WITHOUT_CREDENTIALS[] = {
    {"off",   ePDP_AUTH_OFF,      "Config option %s set to 'OFF', authentication will be cleared"},
    {nullptr, ePDP_AUTH_NOT_USED, "Config option ignored, username/password empty"},
};

constexpr sConfigChoice AUTH_CHOICES_WITH_CREDENTIALS[] = {
    {"pap",   ePDP_AUTH_PAP,      "Config option %s set to 'PAP'"},
    {"chap",  ePDP_AUTH_CHAP,     "Config option %s set to 'CHAP'"},
    {"off",   ePDP_AUTH_NOT_USED, "Config option %s set to 'OFF', but username/password are set, setting ignored"},
    {nullptr, ePDP_AUTH_CHAP,     "Config option %s default set to 'CHAP' for authentication"},
};

constexpr sConfigChoice FIRMWARE_SLOT_CHOICES[] = {
    {"0",     eFIRMWARE_SLOT_0,    "%s set to %s"},
    {"1",     eFIRMWARE_SLOT_1,    "%s set to %s"},
    {nullptr, eFIRMWARE_SLOT_AUTO, "The config entry %s=%s is not valid, setting to Auto"},
};

constexpr sConfigChoice USE_DNS_CHOICES[] = {
    {"",      YES, "Config option %s not set, enabling using DNS by default"},
    {"no",    NO,  "Config option %s is 'NO', disabling setting cellular DNS"},
    {nullptr, YES, "Config option %s is '%s', enabling setting Cellular DNS when available"},
};

constexpr sConfigChoice OPERATOR_MODE_CHOICES[] = {
    {"",      0, "Config option %s is missing, Operator Selection set to Auto Mode"},
    {"0",     0, "Config option %s is %s, set Operator Selection to Auto Mode"},
    {"1",     1, "Config option %s is %s, set Operator Selection to Manual selection"},
    {"4",     4, "Config option %s is %s, set Operator Selection to Manual selection"},
    {nullptr, 0, "Config option %s is empty/invalid, Operator Selection set to Auto Mode"},
};

constexpr sConfigChoice BAND_MODE_CHOICES[] = {
    {"auto",   eBAND_MODE_AUTO,   "Config option %s is %s, Band Selection set to Auto Mode"},
    {"manual", eBAND_MODE_MANUAL, nullptr},
    {nullptr,  eBAND_MODE_AUTO,   "Config option %s value '%s' is invalid, Band Selection set to Auto Mode"},
};

constexpr sConfigChoice SIM_SLOT_CHOICES[] = {
    {"1",     eSIM_SLOT_1, "Config option %s is %s"},
    {"2",     eSIM_SLOT_2, "Config option %s is %s"},
    {nullptr, eSIM_SLOT_1, "Config option %s=%s is invalid, defaulting to SIM Slot 1"},
};

constexpr sConfigChoice GPS_ENABLE_CHOICES[] = {
    {"yes",   YES, "Config option %s is '%s', GPS enabled"},
    {"no",    NO,  "Config option %s is '%s', GPS disabled"},
    {nullptr, YES, "Gps enabled (default)"},
};

constexpr sConfigChoice PTP_CHOICES[] = {
    {"yes",   YES, "Config option %s is '%s', PtP interface setup enabled"},
    {nullptr, NO,  "Config option %s is off, PtP interface setup disabled"},
};

constexpr sConfigChoice IP_FAMILY_CHOICES[] = {
    {"ipv4v6", eIP_FAMILY_IPV4V6, "Config option %s is IPv4v6"},
    {"ipv4",   eIP_FAMILY_IPV4,   "Config option %s is IPv4 only"},
    {"ipv6",   eIP_FAMILY_IPV6,   "Config option %s is IPv6 only"},
    {nullptr,  eIP_FAMILY_IPV4V6, "Config option %s default to IPv4v6"},
};
// clang-format on

// The line with the key in place of its first %s and the value in place of its second.
std::string fillIn(const std::string& line, const std::string& key, const std::string& value) {
    const std::string mark = "%s";
    const size_t first = line.find(mark);
    if (first == std::string::npos) return line;
    const std::string start = line.substr(0, first) + key;
    const size_t rest = first + mark.size();
    const size_t second = line.find(mark, rest);
    if (second == std::string::npos) return start + line.substr(rest);
    return start + line.substr(rest, second - rest) + value + line.substr(second + mark.size());
}

std::string removeEvery(std::string text, const std::string& part) {
    size_t at = text.find(part);
    while (at != std::string::npos) {
        text.erase(at, part.size());
        at = text.find(part, at);
    }
    return text;
}

const char* allowedFor(const std::string& key) {
    for (const sConfigKey& row : configKeys())
        if (key == row.name) return row.accepted;
    return "";
}

bool isManualOperatorMode(const std::string& mode) {
    return mode == OPERATOR_MANUAL || mode == OPERATOR_MANUAL_THEN_AUTO;
}

}  // namespace

int cConfigReader::choose(const std::string& key, const std::string& value,
                          const sConfigChoice* choices) {
    const sConfigChoice* row = choices;
    while (row->text != nullptr && value != row->text) {
        ++row;
    }
    if (row->line != nullptr) writeLine(eLOG_NOTICE, fillIn(row->line, key, value));
    return row->meaning;
}

void cConfigReader::getConfigOptionDebug(const std::string& key, const std::string& value,
                                         sConfigFileOpts& opts) {
    trace(__func__);
    g_i_debugMode = 0;
    const std::string digits = removeEvery(stringUpper(value), "0X");
    if (!stringIsHex(digits)) {
        m_debugMask = 0;
        return;
    }
    // More than 16 digits give the highest number.
    const uint64_t mask = strtoull(digits.c_str(), nullptr, 16) & DEBUG_MODE_BITS;
    notice("%s set to 0x%016" PRIX64, key.c_str(), mask);
    opts.debugMode = mask;
    m_debugMask = mask;
    g_i_debugMode = mask;
}

void cConfigReader::getConfigOptionEnableInt(const std::string& key, const std::string& value,
                                             sConfigFileOpts& opts) {
    trace(__func__);
    opts.enableInterface = choose(key, value, ENABLE_INTERFACE_CHOICES);
    if (opts.enableInterface > 0) {
        setDataDirective(opts, eCONF_DATA_CONNECT_ENABLED);
    } else if (opts.enableInterface < 0) {
        setDataDirective(opts, eCONF_DATA_CONNECT_TEMP_MODEM_OFF);
    } else {
        setDataDirective(opts, eCONF_DATA_CONNECT_DISABLED);
    }
}

void cConfigReader::getConfigOptionApn(const std::string& key, const std::string& value,
                                       sConfigFileOpts& opts) {
    trace(__func__);
    storeApn(key, value, opts.apn);
}

void cConfigReader::getConfigOptionApn2(const std::string& key, const std::string& value,
                                        sConfigFileOpts& opts) {
    trace(__func__);
    storeApn(key, value, opts.apn2);
}

// Raw values go into AT commands unchanged. CR and LF would end the command and begin another,
// Ctrl-Z and ESC end text input, NUL cuts the text, and a tab is invisible in an editor. The value
// is not logged because it may be a password.
bool cConfigReader::hasControlCharacter(const std::string& key, const std::string& value) {
    const auto found = std::find_if(value.begin(), value.end(), isControlCharacter);
    if (found == value.end()) return false;
    notice(
        "Error: Config option %s has a control character (0x%02X, character %d of %d), allowed: %s",
        key.c_str(), static_cast<unsigned char>(*found),
        static_cast<int>(found - value.begin()) + 1, static_cast<int>(value.size()),
        allowedFor(key));
    return true;
}

// Checked in lower case and trimmed, stored as written: an APN keeps its case and its blanks.
// Trimming would remove tabs and line ends before the check, so the raw text is searched for them.
void cConfigReader::storeApn(const std::string& key, const std::string& value, std::string& apn) {
    const std::string judged = stringLower(cleanBeginEndWhiteSpace(value));
    if (hasControlCharacter(key, value) || !apnValidFormat(judged)) {
        apn.clear();
        notice("Error:  The APN '%s' is not valid", value.c_str());
        return;
    }
    apn = value;
    notice("Config option %s is '%s'", key.c_str(), value.c_str());
}

bool cConfigReader::apnValidFormat(const std::string& apn) {
    trace(__func__);
    if (apn.empty()) {
        notice("Note: APN is empty");
        return false;
    }
    if (apn.size() > APN_MAX) {
        notice("APN '%s' is too long, max length allowed is %d", apn.c_str(),
               static_cast<int>(APN_MAX));
        return false;
    }
    if (cleanWhiteSpace(apn).empty()) {
        notice("APN cannot contain only spaces");
        return false;
    }
    detail("%s(): Checking for bad characters in APN '%s'", __func__, apn.c_str());
    if (apn.find_first_not_of(APN_CHARACTERS) != std::string::npos) {
        notice("%s(): Error: Bad APN format", __func__);
        return false;
    }
    detail("%s(): APN has valid chars", __func__);
    return true;
}

void cConfigReader::getConfigOptionSyncTime(const std::string& key, const std::string& value,
                                            sConfigFileOpts& opts) {
    trace(__func__);
    opts.syncTime = choose(key, value, SYNC_TIME_CHOICES) == YES;
}

void cConfigReader::getConfigOptionNetPref(const std::string& key, const std::string& value,
                                           sConfigFileOpts& opts) {
    trace(__func__);
    opts.netPref = eNET_PREF_IGNORE;
    opts.netPrefText = value;
    decodeConfigNetPref(value, opts.netPref);
    if (opts.netPref != eNET_PREF_IGNORE) {
        notice("Config option %s is '%s'", key.c_str(), value.c_str());
    } else if (value.empty()) {
        notice("Config option %s empty, ignoring", key.c_str());
    } else {
        notice("Config option %s=%s is NOT supported, ignoring", key.c_str(), value.c_str());
    }
}

void cConfigReader::decodeConfigNetPref(const std::string& text, eNetPref& netPref) {
    trace(__func__);
    const std::string upper = stringUpper(text);
    netPref = static_cast<eNetPref>(choose(upper, upper, NET_PREF_CHOICES));
}

void cConfigReader::getConfigOptionRoaming(const std::string& key, const std::string& value,
                                           sConfigFileOpts& opts) {
    trace(__func__);
    opts.roamingAllowed = choose(key, value, ROAMING_CHOICES) == YES;
}

void cConfigReader::getConfigOptionDefaultRoute(const std::string& key, const std::string& value,
                                                sConfigFileOpts& opts) {
    trace(__func__);
    opts.defaultRoute = choose(key, value, DEFAULT_ROUTE_CHOICES) == YES;
}

void cConfigReader::getConfigOptionUser(const std::string& key, const std::string& value,
                                        sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty()) {
        notice("Config option %s is empty, ignoring", key.c_str());
        return;
    }
    if (hasControlCharacter(key, value)) {
        opts.username.clear();
        return;
    }
    if (value.size() > CREDENTIAL_MAX) {
        notice("Config option %s value'%s' is too long, max length is %d", key.c_str(),
               value.c_str(), static_cast<int>(CREDENTIAL_MAX));
        opts.username.clear();
        return;
    }
    notice("Config option %s is '%s'", key.c_str(), value.c_str());
    opts.username = value;
}

// A password that cannot be used clears the user name too.
void cConfigReader::getConfigOptionPassword(const std::string& key, const std::string& value,
                                            sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty()) return;
    if (opts.username.empty()) {
        notice("Config option %s is empty, not using %s", CM_USERNAME, CM_PASSWORD);
    } else if (hasControlCharacter(key, value)) {
        notice(" - ignoring Username/Password settings");
    } else if (value.size() > CREDENTIAL_MAX) {
        notice("Config option %s='%s' is too long, max length is %d", key.c_str(), value.c_str(),
               static_cast<int>(CREDENTIAL_MAX));
        notice(" - ignoring Username/Password settings");
    } else {
        notice("Config option %s is '%s'", key.c_str(), value.c_str());
        opts.password = value;
        return;
    }
    opts.username.clear();
    opts.password.clear();
}

void cConfigReader::getConfigOptionAuthType(const std::string& key, const std::string& value,
                                            sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty() && opts.username.empty() && opts.password.empty()) {
        notice("Config option %s missing, Disabling", key.c_str());
        opts.authType = ePDP_AUTH_NOT_USED;
        return;
    }
    if (value.empty()) {
        notice("Config option %s missing (username/password set), default set to 'CHAP'",
               key.c_str());
        opts.authType = ePDP_AUTH_CHAP;
        return;
    }
    const bool credentials = !opts.username.empty() && !opts.password.empty();
    opts.authType = choose(
        key, value, credentials ? AUTH_CHOICES_WITH_CREDENTIALS : AUTH_CHOICES_WITHOUT_CREDENTIALS);
}

void cConfigReader::getConfigOptionFirmwareSlot(const std::string& key, const std::string& value,
                                                sConfigFileOpts& opts) {
    trace(__func__);
    opts.firmwareSlot = eFIRMWARE_SLOT_AUTO;
    if (!isStringNumeric(value)) {
        notice("Error: The config entry %s=%s is not valid,setting to Auto", key.c_str(),
               value.c_str());
        return;
    }
    opts.firmwareSlot = choose(key, value, FIRMWARE_SLOT_CHOICES);
}

void cConfigReader::getConfigOptionDNS(const std::string& key, const std::string& value,
                                       sConfigFileOpts& opts) {
    trace(__func__);
    opts.useDns = choose(key, value, USE_DNS_CHOICES) == YES;
}

void cConfigReader::getConfigOptionMTU(const std::string& key, const std::string& value,
                                       sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty()) {
        notice("Config option %s not set, defaulting to %d", key.c_str(), MTU_MAX);
        opts.mtu = MTU_MAX;
        return;
    }
    if (!isStringNumeric(value)) {
        notice("Config option %s='%s' is not a number, ignoring", key.c_str(), value.c_str());
        return;
    }
    const int mtu = textToInt(value);
    if (mtu < MTU_MIN || mtu > MTU_MAX) {
        notice("Config option %s is invalid, must be between values %d and %d, defaulting to %d",
               key.c_str(), MTU_MIN, MTU_MAX, MTU_MAX);
        opts.mtu = MTU_MAX;
        return;
    }
    notice("Config option %s is set to %d", key.c_str(), mtu);
    opts.mtu = mtu;
}

void cConfigReader::getConfigOptionOperatorMode(const std::string& key, const std::string& value,
                                                sConfigFileOpts& opts) {
    trace(__func__);
    opts.operatorMode = itos(choose(key, value, OPERATOR_MODE_CHOICES));
}

void cConfigReader::getConfigOptionOperator(const std::string& key, const std::string& value,
                                            sConfigFileOpts& opts) {
    trace(__func__);
    if (!isManualOperatorMode(opts.operatorMode)) return;
    if (value.empty() || hasControlCharacter(key, value)) {
        notice("Config option %s is empty/invalid, Operator Selection set to Auto Mode",
               key.c_str());
        opts.operatorMode = OPERATOR_AUTO;
        return;
    }
    if (isStringNumeric(value)) {
        selectOperatorNumber(key, value, opts);
    } else {
        selectOperatorName(key, value, opts);
    }
}

// A PLMN number: three digits of country code, two or three of network code.
void cConfigReader::selectOperatorNumber(const std::string& key, const std::string& value,
                                         sConfigFileOpts& opts) {
    if (value.size() != 5 && value.size() != 6) {
        notice(
            "Config option %s value '%s' is invalid (length not 5-6), Operator Selection set to "
            "Auto Mode",
            key.c_str(), value.c_str());
        opts.operatorMode = OPERATOR_AUTO;
        return;
    }
    notice(
        "Config option %s is '%s', set Operator Selection to Manual Mode for PLMN number selection",
        key.c_str(), value.c_str());
    opts.operatorName = value;
}

void cConfigReader::selectOperatorName(const std::string& key, const std::string& value,
                                       sConfigFileOpts& opts) {
    if (value.size() > OPERATOR_NAME_MAX) {
        notice(
            "Config option %s = '%s' is too long, max characters is %d, Operator Selection set to "
            "Auto Mode",
            key.c_str(), value.c_str(), static_cast<int>(OPERATOR_NAME_MAX));
        opts.operatorMode = OPERATOR_AUTO;
        return;
    }
    const char* kind =
        opts.operatorMode == OPERATOR_MANUAL ? "PLMN/Carrier Name" : "Carrier Name selection";
    notice("Config option %s is '%s', set Operator Selection to Manual Mode for %s", key.c_str(),
           value.c_str(), kind);
    opts.operatorName = value;
}

void cConfigReader::getConfigOptionBand(const std::string& key, const std::string& value,
                                        sConfigFileOpts& opts) {
    trace(__func__);
    opts.bandMode = choose(key, stringLower(cleanWhiteSpace(value)), BAND_MODE_CHOICES);
    detail("%s(): Band mode is %d", __func__, opts.bandMode);
}

// A number can be written in several ways, but only the plain one has bits: "07" is in range and
// stored, but sets no bit.
void cConfigReader::getConfigOptionBand3g(const std::string& key, const std::string& value,
                                          sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty()) {
        notice("Config option %s is missing", key.c_str());
        return;
    }
    const std::string number = cleanWhiteSpace(value);
    if (!isStringNumeric(number) || textToInt(number) > BAND_3G_MAX) {
        notice("Config option %s = '%s' is not a valid 3G entry, must be %d to %d", key.c_str(),
               number.c_str(), BAND_3G_MIN, BAND_3G_MAX);
        return;
    }
    const auto row = m_bands3g.find(number);
    opts.band3gText = number;
    opts.band3gBits = row == m_bands3g.end() ? 0 : static_cast<uint32_t>(row->second);
    detail("%s(): 3G band number %s has mask 0x%" PRIX32, __func__, number.c_str(),
           opts.band3gBits);
    notice("Config option %s is %s", key.c_str(), number.c_str());
}

// A refused list keeps the bits of the entries before the first wrong one; its text is not stored.
void cConfigReader::getConfigOptionBand4g(const std::string& key, const std::string& value,
                                          sConfigFileOpts& opts) {
    trace(__func__);
    if (value.empty()) {
        notice("Config option %s is missing", key.c_str());
        return;
    }
    const std::string list = stringUpper(cleanWhiteSpace(value));
    for (const std::string& band : tokenstr(list, ',', eEmptyTokens::KEEP)) {
        const auto row = m_bands4g.find(band);
        if (row == m_bands4g.end()) {
            notice("Error: Entry '%s' in %s is not a valid LTE Band designation", band.c_str(),
                   key.c_str());
            return;
        }
        // Widened with its sign: B32 also sets the bits above it.
        opts.band4gBits |= static_cast<uint64_t>(int64_t{row->second});
        detail("%s(): LTE band %s, mask is now 0x%016" PRIX64, __func__, band.c_str(),
               opts.band4gBits);
    }
    opts.band4gText = list;
    notice("Config option %s = '%s' is valid", key.c_str(), list.c_str());
}

void cConfigReader::getConfigOptionSimSlot(const std::string& key, const std::string& value,
                                           sConfigFileOpts& opts) {
    trace(__func__);
    opts.simSlot = choose(key, cleanWhiteSpace(value), SIM_SLOT_CHOICES);
}

void cConfigReader::getConfigOptionGpsEnable(const std::string& key, const std::string& value,
                                             sConfigFileOpts& opts) {
    trace(__func__);
    opts.gpsEnable = choose(key, value, GPS_ENABLE_CHOICES) == YES;
}

void cConfigReader::getConfigOptionPtpOption(const std::string& key, const std::string& value,
                                             sConfigFileOpts& opts) {
    trace(__func__);
    opts.ptpInterface = choose(key, value, PTP_CHOICES) == YES;
}

void cConfigReader::getConfigOptionIpFamily(const std::string& key, const std::string& value,
                                            sConfigFileOpts& opts) {
    trace(__func__);
    opts.ipFamily = choose(key, value, IP_FAMILY_CHOICES);
}
