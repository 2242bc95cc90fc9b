#include "statemachine/status_led.h"

#include "atcmd/radio_config.h"
#include "include/debug.h"
#include "include/device_records.h"
#include "include/options.h"
#include "platform/include/interface_info.h"
#include "platform/include/key_value_store.h"
#include "platform/include/text_helpers.h"
#include "published/store_keys.h"
#include "statemachine/network_interface.h"

namespace {

struct sStatusLedState {
    eStatLedAction lastAction = eSTAT_LED_ACTION_NONE;
};

sStatusLedState g_ledState;

constexpr unsigned char UNUSED_DURATION = g_ui_stat_led_duration_default;

struct sLedPattern {
    eStatLedAction action;
    eStatLedMode mode;
    unsigned char on;
    unsigned char off;
};

// clang-format off
const sLedPattern PATTERNS[] = {
    {eSTAT_LED_ACTION_OFF,              eSTAT_LED_OFF,   UNUSED_DURATION, UNUSED_DURATION},
    {eSTAT_LED_ACTION_ON,               eSTAT_LED_ON,    UNUSED_DURATION, UNUSED_DURATION},
    {eSTAT_LED_ACTION_REG_DENIED,       eSTAT_LED_BLINK, 1,               30},
    {eSTAT_LED_ACTION_NOT_REG,          eSTAT_LED_BLINK, 5,               30},
    {eSTAT_LED_ACTION_REG,              eSTAT_LED_BLINK, 10,              30},
    {eSTAT_LED_ACTION_REG_INTERFACE_UP, eSTAT_LED_ON,    UNUSED_DURATION, UNUSED_DURATION},
    {eSTAT_LED_ACTION_TRAFFIC,          eSTAT_LED_BLINK, 1,               1},
    {eSTAT_LED_ACTION_TRAFFIC_2,        eSTAT_LED_BLINK, 1,               1},
    {eSTAT_LED_ACTION_BLINK_5,          eSTAT_LED_BLINK, 5,               5},
    {eSTAT_LED_ACTION_BLINK_10,         eSTAT_LED_BLINK, 10,              10},
    {eSTAT_LED_ACTION_BLINK_15,         eSTAT_LED_BLINK, 15,              15},
    {eSTAT_LED_ACTION_BLINK_20,         eSTAT_LED_BLINK, 20,              20},
};
// clang-format on

const sLedPattern* patternOf(eStatLedAction action) {
    for (const sLedPattern& pattern : PATTERNS)
        if (pattern.action == action) return &pattern;
    return nullptr;
}

bool isInterfaceActive(const std::string& name) {
    sInterfaceInfo info{};
    name.copy(info.name, sInterfaceInfo::NAME_SIZE - 1);
    return GetInterfaceInfo(info) == 0 && info.active;
}

struct sLedChoice {
    eStatLedAction action;
    const char* message;
};

sLedChoice chooseLed(const sNetworkInfo& network) {
    if (network.i_reg_state == eREG_DENIED)
        return {eSTAT_LED_ACTION_REG_DENIED, "Set STAT_LED REG_DENIED"};
    if (!network.b_registered) return {eSTAT_LED_ACTION_NOT_REG, "Set STAT_LED NOT_REG"};
    sLedChoice choice = {eSTAT_LED_ACTION_REG, "Set STAT_LED REG"};
    if (isInterfaceActive(g_S_options.s_interface))
        choice.action = eSTAT_LED_ACTION_REG_INTERFACE_UP;
    if (checkNetworkTxRx(g_s_sys_class_net, false))
        choice = {eSTAT_LED_ACTION_TRAFFIC, "Set STAT_LED NET TX/RX"};
    return choice;
}

}  // namespace

void resetStatusLedState() {
    g_ledState = {};
}

eGeneralErrors setStatusLed(const int& port, const eStatLedAction& action, bool save) {
    if (action == g_ledState.lastAction) return eSUCCESS;
    g_ledState.lastAction = action;
    const sLedPattern* pattern = patternOf(action);
    if (pattern == nullptr) return eFAILURE;
    const eGeneralErrors result =
        mapPortResult(setATSTAT(port, pattern->mode, pattern->on, pattern->off));
    if (result != eSUCCESS || !save) return result;
    return mapPortResult(setATSTATSAV(port));
}

eGeneralErrors updateRegStatLed(const int& port, const sNetworkInfo& network) {
    const sLedChoice choice = chooseLed(network);
    const eGeneralErrors result = setStatusLed(port, choice.action, false);
    if (result == eSUCCESS) debug(eLOG_STATUS, g_i_debugMode, "%s(): %s", __func__, choice.message);
    return result;
}

bool getDeviceTestMode() {
    char value[10] = {};
    if (skvs_get(STORE_TEST_MODE, value, sizeof value) == -1) return false;
    if (!isStringNumeric(value) || textToInt(value) <= 0) return false;
    debug(eLOG_NOTICE, g_i_debugMode, "Device %s is enabled", STORE_TEST_MODE);
    return true;
}
