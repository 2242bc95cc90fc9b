#ifndef CONFIG_CONFIG_KEYS_H
#define CONFIG_CONFIG_KEYS_H

#include <string>

#include "include/config_options.h"

class cConfigReader;

constexpr const char* CM_USERNAME = "CM_USERNAME";
constexpr const char* CM_PASSWORD = "CM_PASSWORD";
constexpr const char* CM_BAND_MODE = "CM_BAND_MODE";

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
