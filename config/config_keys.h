#ifndef CONFIG_CONFIG_KEYS_H
#define CONFIG_CONFIG_KEYS_H

#include <cstddef>
#include <string>

#include "include/config_options.h"

class cConfigReader;

// The names of the keys, in the order of reading.
constexpr const char* DEBUG_MODE = "DEBUG_MODE";
constexpr const char* CM_ENABLE_INTERFACE = "CM_ENABLE_INTERFACE";
constexpr const char* CM_APN = "CM_APN";
constexpr const char* CM_APN2 = "CM_APN2";
constexpr const char* CM_SYNC_TIME = "CM_SYNC_TIME";
constexpr const char* CM_DATA_SPEED = "CM_DATA_SPEED";
constexpr const char* CM_ROAMING = "CM_ROAMING";
constexpr const char* CM_DEFAULTROUTE = "CM_DEFAULTROUTE";
constexpr const char* CM_USERNAME = "CM_USERNAME";
constexpr const char* CM_PASSWORD = "CM_PASSWORD";
constexpr const char* CM_AUTH_TYPE = "CM_AUTH_TYPE";
constexpr const char* CM_FW_SLOT = "CM_FW_SLOT";
constexpr const char* CM_USE_DNS = "CM_USE_DNS";
constexpr const char* CM_MTU = "CM_MTU";
constexpr const char* CM_OPERATOR_MODE = "CM_OPERATOR_MODE";
constexpr const char* CM_OPERATOR = "CM_OPERATOR";
constexpr const char* CM_BAND_MODE = "CM_BAND_MODE";
constexpr const char* CM_3G_BAND = "CM_3G_BAND";
constexpr const char* CM_4G_BAND = "CM_4G_BAND";
constexpr const char* CM_SIM_SLOT = "CM_SIM_SLOT";
constexpr const char* CM_GPS_ENABLE = "CM_GPS_ENABLE";
constexpr const char* CM_PTP_INT = "CM_PTP_INT";
constexpr const char* CM_IPFAMILY = "CM_IPFAMILY";

// A longer file cannot be a configuration and counts as missing.
constexpr size_t CONFIG_FILE_MAX = 131072;
// Longest user name or password.
constexpr size_t CREDENTIAL_MAX = 63;

enum class eConfigRead {
    TRIMMED,  // white space at both ends removed, in lower case
    RAW,      // as written
};

// Lists of bands are read in manual mode only, and checked together after the last.
enum class eConfigBands { NO_LIST, LIST, LAST };

// Checks the value of a key, logs the outcome and stores it.
using tConfigOption = void (cConfigReader::*)(const std::string& key, const std::string& value,
                                              sConfigFileOpts& opts);

// One key of the configuration file.
struct sConfigKey {
    const char* name;
    eConfigRead read;
    eConfigBands bands;
    tConfigOption option;
    const char* defaultText;  // what applies without the key, as it would be written
    const char* accepted;     // description for users
};

#endif
