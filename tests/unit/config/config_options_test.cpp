#include <gtest/gtest.h>

#include <climits>

#include "include/config_options.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"

TEST(SetDataDirective, EachValue_IsStoredWithItsText) {
    const std::vector<std::pair<int, std::string>> cases = {
        {0, "eCONF_DATA_CONNECT_DISABLED"},       {1, "eCONF_DATA_CONNECT_ENABLED"},
        {2, "eCONF_DATA_CONNECT_HOLDOFF"},        {3, "eCONF_DATA_CONNECT_TEMP_DISABLED"},
        {4, "eCONF_DATA_CONNECT_TEMP_ENABLED"},   {5, "eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM"},
        {6, "eCONF_DATA_CONNECT_TEMP_MODEM_OFF"}, {7, "eCONF_DATA_CONNECT_TEMP_MODEM_OFF"},
    };
    for (const auto& [value, text] : cases) {
        sConfigFileOpts config;
        setDataDirective(config, static_cast<eCfgDataStatus>(value));
        EXPECT_EQ(config.dataDirective.value, value);
        EXPECT_EQ(config.dataDirective.text, text);
    }
}

TEST(SetDataDirective, ValueOutsideTheEnumeration_IsUnknown) {
    for (const int value : {-1, -2, 8, 255, INT_MAX, INT_MIN}) {
        sConfigFileOpts config;
        setDataDirective(config, static_cast<eCfgDataStatus>(value));
        EXPECT_EQ(config.dataDirective.value, -1) << value;
        EXPECT_EQ(config.dataDirective.text, "eCONF_DATA_CONNECT_UNKNOWN") << value;
    }
}

TEST(SetDataDirective, Call_IsTracedAtTheConfigCategory) {
    sConfigFileOpts config;
    g_i_debugMode = eLOG_CONFIG;
    clearCapturedLog();
    setDataDirective(config, eCONF_DATA_CONNECT_ENABLED);
    g_i_debugMode = 0;
    EXPECT_EQ(logCount("DEBUG: Entering setDataDirective()"), 1U);
    EXPECT_EQ(capturedLog().size(), 1U);
}
