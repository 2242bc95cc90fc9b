#include "config/config_keys.h"

#include "config/config_reader.h"

const std::vector<sConfigKey>& configKeys() {
    using c = cConfigReader;
    constexpr eConfigRead TRIMMED = eConfigRead::TRIMMED;
    constexpr eConfigRead RAW = eConfigRead::RAW;
    constexpr eConfigBands NO_LIST = eConfigBands::NO_LIST;
    constexpr eConfigBands LIST = eConfigBands::LIST;
    constexpr eConfigBands LAST = eConfigBands::LAST;
    // clang-format off
    static const std::vector<sConfigKey> keys = {
        {"DEBUG_MODE",          TRIMMED, NO_LIST, &c::getConfigOptionDebug,        "0",      "hexadecimal number"},
        {"CM_ENABLE_INTERFACE", TRIMMED, NO_LIST, &c::getConfigOptionEnableInt,    "no",     "yes, no or off"},
        {"CM_APN",              RAW,     NO_LIST, &c::getConfigOptionApn,          "",       "1 to 104 letters, digits, blanks and .-_!"},
        {"CM_APN2",             RAW,     NO_LIST, &c::getConfigOptionApn2,         "",       "1 to 104 letters, digits, blanks and .-_!"},
        {"CM_SYNC_TIME",        TRIMMED, NO_LIST, &c::getConfigOptionSyncTime,     "yes",    "yes or no"},
        {"CM_DATA_SPEED",       TRIMMED, NO_LIST, &c::getConfigOptionNetPref,      "",       "auto, 2g3g4g, 3g4g, 4g, 3g or 2g"},
        {"CM_ROAMING",          TRIMMED, NO_LIST, &c::getConfigOptionRoaming,      "auto",   "home or auto"},
        {"CM_DEFAULTROUTE",     TRIMMED, NO_LIST, &c::getConfigOptionDefaultRoute, "yes",    "yes or no"},
        {CM_USERNAME,           RAW,     NO_LIST, &c::getConfigOptionUser,         "",       "1 to 63 characters, no tabs or other control characters"},
        {CM_PASSWORD,           RAW,     NO_LIST, &c::getConfigOptionPassword,     "",       "1 to 63 characters, no tabs or other control characters"},
        {"CM_AUTH_TYPE",        TRIMMED, NO_LIST, &c::getConfigOptionAuthType,     "",       "pap, chap or off"},
        {"CM_FW_SLOT",          TRIMMED, NO_LIST, &c::getConfigOptionFirmwareSlot, "",       "0 or 1"},
        {"CM_USE_DNS",          TRIMMED, NO_LIST, &c::getConfigOptionDNS,          "yes",    "yes or no"},
        {"CM_MTU",              TRIMMED, NO_LIST, &c::getConfigOptionMTU,          "1500",   "60 to 1500"},
        {"CM_OPERATOR_MODE",    TRIMMED, NO_LIST, &c::getConfigOptionOperatorMode, "0",      "0, 1 or 4"},
        {"CM_OPERATOR",         RAW,     NO_LIST, &c::getConfigOptionOperator,     "",       "5 or 6 digits, or a name of 1 to 28 characters, no tabs or other control characters"},
        {CM_BAND_MODE,          TRIMMED, NO_LIST, &c::getConfigOptionBand,         "auto",   "auto or manual"},
        {"CM_3G_BAND",          TRIMMED, LIST,    &c::getConfigOptionBand3g,       "",       "0 to 7"},
        {"CM_4G_BAND",          TRIMMED, LAST,    &c::getConfigOptionBand4g,       "",       "B1 to B32, separated by commas"},
        {"CM_SIM_SLOT",         TRIMMED, NO_LIST, &c::getConfigOptionSimSlot,      "1",      "1 or 2"},
        {"CM_GPS_ENABLE",       TRIMMED, NO_LIST, &c::getConfigOptionGpsEnable,    "yes",    "yes or no"},
        {"CM_PTP_INT",          TRIMMED, NO_LIST, &c::getConfigOptionPtpOption,    "no",     "yes or no"},
        {"CM_IPFAMILY",         TRIMMED, NO_LIST, &c::getConfigOptionIpFamily,     "ipv4v6", "ipv4v6, ipv4 or ipv6"},
    };
    // clang-format on
    return keys;
}
