#include "include/config_options.h"

#include <array>

#include "include/debug.h"

namespace {

// Both ways of switching the modem off have the same text.
constexpr std::array<const char*, 8> DIRECTIVE_TEXTS = {
    "eCONF_DATA_CONNECT_DISABLED",             // 0
    "eCONF_DATA_CONNECT_ENABLED",              // 1
    "eCONF_DATA_CONNECT_HOLDOFF",              // 2
    "eCONF_DATA_CONNECT_TEMP_DISABLED",        // 3
    "eCONF_DATA_CONNECT_TEMP_ENABLED",         // 4
    "eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM",  // 5
    "eCONF_DATA_CONNECT_TEMP_MODEM_OFF",       // 6
    "eCONF_DATA_CONNECT_TEMP_MODEM_OFF",       // 7
};

}  // namespace

void setDataDirective(sConfigFileOpts& config, eCfgDataStatus value) {
    traceEntry(eLOG_CONFIG, __func__);
    const int number = value;
    if (number < 0 || number >= static_cast<int>(DIRECTIVE_TEXTS.size())) {
        config.dataDirective = {eCONF_DATA_CONNECT_UNKNOWN, "eCONF_DATA_CONNECT_UNKNOWN"};
        return;
    }
    config.dataDirective = {value, DIRECTIVE_TEXTS[static_cast<size_t>(number)]};
}
