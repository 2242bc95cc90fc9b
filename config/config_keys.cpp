#include "config/config_keys.h"

#include "config/config_reader.h"

const std::vector<sConfigKey>& configKeys() {
    using c = cConfigReader;
    constexpr eConfigRead TRIMMED = eConfigRead::TRIMMED;
    constexpr eConfigRead RAW = eConfigRead::RAW;
    // clang-format off
    static const std::vector<sConfigKey> keys = {
        {"DEBUG_MODE",          TRIMMED, &c::getConfigOptionDebug,        "0",      "hexadecimal number"},
        {"CM_ENABLE_INTERFACE", TRIMMED, &c::getConfigOptionEnableInt,    "no",     "yes, no or off"},
        {"CM_APN",              RAW,     &c::getConfigOptionApn,          "",       "1 to 104 letters, digits, blanks and .-_!"},
        {"CM_APN2",             RAW,     &c::getConfigOptionApn2,         "",       "1 to 104 letters, digits, blanks and .-_!"},
        {"CM_SYNC_TIME",        TRIMMED, &c::getConfigOptionSyncTime,     "yes",    "yes or no"},
        {"CM_DATA_SPEED",       TRIMMED, &c::getConfigOptionNetPref,      "",       "auto, 2g3g4g, 3g4g, 4g, 3g or 2g"},
        {"CM_ROAMING",          TRIMMED, &c::getConfigOptionRoaming,      "auto",   "home or auto"},
        {"CM_DEFAULTROUTE",     TRIMMED, &c::getConfigOptionDefaultRoute, "yes",    "yes or no"},
        {CM_USERNAME,           RAW,     &c::getConfigOptionUser,         "",       "1 to 63 characters, no tabs or other control characters"},
        {CM_PASSWORD,           RAW,     &c::getConfigOptionPassword,     "",       "1 to 63 characters, no tabs or other control characters"},
        {"CM_AUTH_TYPE",        TRIMMED, &c::getConfigOptionAuthType,     "",       "pap, chap or off"},
        {"CM_FW_SLOT",          TRIMMED, &c::getConfigOptionFirmwareSlot, "",       "0 or 1"},
        {"CM_USE_DNS",          TRIMMED, &c::getConfigOptionDNS,          "yes",    "yes or no"},
        {"CM_MTU",              TRIMMED, &c::getConfigOptionMTU,          "1500",   "60 to 1500"},
        {"CM_OPERATOR_MODE",    TRIMMED, &c::getConfigOptionOperatorMode, "0",      "0, 1 or 4"},
        {"CM_OPERATOR",         RAW,     &c::getConfigOptionOperator,     "",       "5 or 6 digits, or a name of 1 to 28 characters, no tabs or other control characters"},
        {CM_BAND_MODE,          TRIMMED, &c::getConfigOptionBand,         "auto",   "auto or manual"},
        {"CM_3G_BAND",          TRIMMED, &c::getConfigOptionBand3g,       "",       "0 to 7"},
        {"CM_4G_BAND",          TRIMMED, &c::getConfigOptionBand4g,       "",       "B1 to B32, separated by commas"},
        {"CM_SIM_SLOT",         TRIMMED, &c::getConfigOptionSimSlot,      "1",      "1 or 2"},
        {"CM_GPS_ENABLE",       TRIMMED, &c::getConfigOptionGpsEnable,    "yes",    "yes or no"},
        {"CM_PTP_INT",          TRIMMED, &c::getConfigOptionPtpOption,    "no",     "yes or no"},
        {"CM_IPFAMILY",         TRIMMED, &c::getConfigOptionIpFamily,     "ipv4v6", "ipv4v6, ipv4 or ipv6"},
    };
    // clang-format on
    return keys;
}
