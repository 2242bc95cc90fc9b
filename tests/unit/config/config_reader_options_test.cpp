#include "tests/unit/config/config_reader_options_fixture.h"

// Each option function alone: value in, record field and log lines out.

// DEBUG_MODE

struct cConfigDebugMode : testing::Test {
    ~cConfigDebugMode() override { g_i_debugMode = 0; }

    void read(const std::string& value) {
        g_i_debugMode = 0x55;
        reader.init("unused", 0x80);
        clearCapturedLog();
        reader.getConfigOptionDebug("DEBUG_MODE", value, opts);
    }

    cConfigReader reader;
    sConfigFileOpts opts;
};

TEST_F(cConfigDebugMode, HexNumber_SetsRecordAndGlobalMask) {
    const std::vector<std::pair<std::string, std::pair<uint64_t, std::string>>> cases = {
        {"1", {1, "0x0000000000000001"}},
        {"0", {0, "0x0000000000000000"}},
        {"ff", {0xff, "0x00000000000000FF"}},
        {"0xff", {0xff, "0x00000000000000FF"}},
        {"0XfF", {0xff, "0x00000000000000FF"}},
        {"0x0x80", {0x80, "0x0000000000000080"}},
        {"40000000000000", {0x40000000000000, "0x0040000000000000"}},
        {"ffffffffffffffff", {0x0fffffffffffffff, "0x0FFFFFFFFFFFFFFF"}},
        {"f000000000000001", {1, "0x0000000000000001"}},
        {"123456789abcdef012", {0x0fffffffffffffff, "0x0FFFFFFFFFFFFFFF"}},
        {"000000000000000000000000a", {0xa, "0x000000000000000A"}},
    };
    for (const auto& [value, expected] : cases) {
        read(value);
        EXPECT_EQ(opts.debugMode, expected.first) << value;
        EXPECT_EQ(g_i_debugMode, expected.first) << value;
        EXPECT_EQ(capturedLog(), (tLines{"DEBUG: Entering getConfigOptionDebug()",
                                         "DEBUG_MODE set to " + expected.second}))
            << value;
    }
}

TEST_F(cConfigDebugMode, NotHex_TurnsAllDebugOutputOff) {
    for (const char* value : {"", "0x", "none", "12 34", "-1", "+1", "0xfg", "1.5"}) {
        read(value);
        EXPECT_EQ(g_i_debugMode, 0U) << value;
        EXPECT_EQ(opts.debugMode, 0U) << value;
        EXPECT_EQ(capturedLog(), (tLines{"DEBUG: Entering getConfigOptionDebug()"})) << value;
        reader.getConfigOptionSyncTime("CM_SYNC_TIME", "no", opts);
        EXPECT_FALSE(logContains("getConfigOptionSyncTime")) << value;
    }
}

TEST_F(cConfigDebugMode, NewMask_AppliesToTheReadersOwnLines) {
    read("10");
    clearCapturedLog();
    reader.apnValidFormat("internet");
    EXPECT_EQ(capturedLog(),
              (tLines{"DEBUG: apnValidFormat(): Checking for bad characters in APN 'internet'",
                      "DEBUG: apnValidFormat(): APN has valid chars"}));
}

// CM_ENABLE_INTERFACE

TEST(ConfigEnableInterface, EveryValue_SetsSwitchAndDirective) {
    struct sCase {
        std::string value;
        int enable;
        eCfgDataStatus directive;
        std::string text;
        std::string line;
    };
    const std::string disabled = "eCONF_DATA_CONNECT_DISABLED";
    const std::vector<sCase> cases = {
        {"yes", 1, eCONF_DATA_CONNECT_ENABLED, "eCONF_DATA_CONNECT_ENABLED",
         "Config option CM_ENABLE_INTERFACE is 'yes', enabling WAN interface"},
        {"off", -1, eCONF_DATA_CONNECT_TEMP_MODEM_OFF, "eCONF_DATA_CONNECT_TEMP_MODEM_OFF",
         "Config option CM_ENABLE_INTERFACE is 'OFF'"},
        {"no", 0, eCONF_DATA_CONNECT_DISABLED, disabled,
         "Config option CM_ENABLE_INTERFACE is 'no', disabling WAN interface"},
        {"", 0, eCONF_DATA_CONNECT_DISABLED, disabled,
         "Config option CM_ENABLE_INTERFACE is '', disabling WAN interface"},
        {"1", 0, eCONF_DATA_CONNECT_DISABLED, disabled,
         "Config option CM_ENABLE_INTERFACE is '1', disabling WAN interface"},
        {"yes please", 0, eCONF_DATA_CONNECT_DISABLED, disabled,
         "Config option CM_ENABLE_INTERFACE is 'yes please', disabling WAN interface"},
    };
    for (const sCase& one : cases) {
        const sOptionRun run(&cConfigReader::getConfigOptionEnableInt, "CM_ENABLE_INTERFACE",
                             one.value);
        EXPECT_EQ(run.opts.enableInterface, one.enable) << one.value;
        EXPECT_EQ(run.opts.dataDirective.value, one.directive) << one.value;
        EXPECT_EQ(run.opts.dataDirective.text, one.text) << one.value;
        EXPECT_EQ(run.lines, tLines{one.line});
    }
}

// Keys with a fixed set of texts

TEST(ConfigSyncTime, EveryValue_SetsFlagAndLine) {
    checkIntCases(
        &cConfigReader::getConfigOptionSyncTime, "CM_SYNC_TIME",
        [](const sConfigFileOpts& opts) { return opts.syncTime; },
        {{"yes", 1, {"Config option CM_SYNC_TIME is 'yes'.  Time sync will attempt every 4 hours"}},
         {"no", 0, {"Config option CM_SYNC_TIME config option is set to 'no' (disabled)"}},
         {"", 1, {"Config option CM_SYNC_TIME unknown value '', allowing time sync (default)"}},
         {"off",
          1,
          {"Config option CM_SYNC_TIME unknown value 'off', allowing time sync (default)"}}});
}

TEST(ConfigNetPref, EveryValue_SetsPreferenceTextAndLines) {
    const auto supported = [](const std::string& value, const std::string& what) {
        return tLines{"Config Network Preference set to " + what,
                      "Config option CM_DATA_SPEED is '" + value + "'"};
    };
    sConfigFileOpts before;
    before.netPref = eNET_PREF_3G;
    before.netPrefText = "3g";
    const std::vector<sIntCase> cases = {
        {"auto", 255, supported("auto", "AUTO")},
        {"3g4g", 255, supported("3g4g", "AUTO")},
        {"2g3g4g", 255, supported("2g3g4g", "AUTO")},
        {"4g", 4, supported("4g", "4G Only")},
        {"3g", 2, supported("3g", "3G Only")},
        {"2g", 1, supported("2g", "2G Only")},
        {"",
         0,
         {"Config Network Preference not set, ignoring",
          "Config option CM_DATA_SPEED empty, ignoring"}},
        {"5g",
         0,
         {"Invalid config Network Preference set '5G', ignoring",
          "Config option CM_DATA_SPEED=5g is NOT supported, ignoring"}},
        {"2g3g",
         0,
         {"Invalid config Network Preference set '2G3G', ignoring",
          "Config option CM_DATA_SPEED=2g3g is NOT supported, ignoring"}},
    };
    checkIntCases(
        &cConfigReader::getConfigOptionNetPref, "CM_DATA_SPEED",
        [](const sConfigFileOpts& opts) { return opts.netPref; }, cases, before);
    for (const sIntCase& one : cases) {
        EXPECT_EQ(
            sOptionRun(&cConfigReader::getConfigOptionNetPref, "CM_DATA_SPEED", one.value, before)
                .opts.netPrefText,
            one.value);
    }
}

TEST(DecodeConfigNetPref, AnyCase_IsUnderstood) {
    cConfigReader reader;
    eNetPref netPref = eNET_PREF_3G;
    reader.decodeConfigNetPref("Auto", netPref);
    EXPECT_EQ(netPref, eNET_PREF_AUTO);
    reader.decodeConfigNetPref("4G", netPref);
    EXPECT_EQ(netPref, eNET_PREF_4G);
    reader.decodeConfigNetPref("", netPref);
    EXPECT_EQ(netPref, eNET_PREF_IGNORE);
}

TEST(ConfigRoaming, EveryValue_SetsFlagAndLine) {
    checkIntCases(
        &cConfigReader::getConfigOptionRoaming, "CM_ROAMING",
        [](const sConfigFileOpts& opts) { return opts.roamingAllowed; },
        {{"home",
          0,
          {"Config option CM_ROAMING set to 'home', home network registration only (roaming not "
           "allowed)"}},
         {"auto", 1, {"Config option CM_ROAMING set to 'auto' (roaming allowed)"}},
         {"", 1, {"Config option CM_ROAMING unknown value '', allowing roaming (default)"}},
         {"no", 1, {"Config option CM_ROAMING unknown value 'no', allowing roaming (default)"}}});
}

TEST(ConfigDefaultRoute, EveryValue_SetsFlagAndLine) {
    checkIntCases(
        &cConfigReader::getConfigOptionDefaultRoute, "CM_DEFAULTROUTE",
        [](const sConfigFileOpts& opts) { return opts.defaultRoute; },
        {{"no",
          0,
          {"Config option CM_DEFAULTROUTE is 'no', WAN interface default route setting is off"}},
         {"yes", 1, {"Config option CM_DEFAULTROUTE is 'yes' (enabled)"}},
         {"", 1, {"Config option CM_DEFAULTROUTE is '' (enabled)"}},
         {"off", 1, {"Config option CM_DEFAULTROUTE is 'off' (enabled)"}}});
}

TEST(ConfigUseDns, EveryValue_SetsFlagAndLine) {
    checkIntCases(
        &cConfigReader::getConfigOptionDNS, "CM_USE_DNS",
        [](const sConfigFileOpts& opts) { return opts.useDns; },
        {{"", 1, {"Config option CM_USE_DNS not set, enabling using DNS by default"}},
         {"no", 0, {"Config option CM_USE_DNS is 'NO', disabling setting cellular DNS"}},
         {"yes",
          1,
          {"Config option CM_USE_DNS is 'yes', enabling setting Cellular DNS when available"}},
         {"maybe",
          1,
          {"Config option CM_USE_DNS is 'maybe', enabling setting Cellular DNS when available"}}});
}

TEST(ConfigGpsEnable, EveryValue_SetsFlagAndLine) {
    checkIntCases(&cConfigReader::getConfigOptionGpsEnable, "CM_GPS_ENABLE",
                  [](const sConfigFileOpts& opts) { return opts.gpsEnable; },
                  {{"yes", 1, {"Config option CM_GPS_ENABLE is 'yes', GPS enabled"}},
                   {"no", 0, {"Config option CM_GPS_ENABLE is 'no', GPS disabled"}},
                   {"", 1, {"Gps enabled (default)"}},
                   {"0", 1, {"Gps enabled (default)"}}});
}

TEST(ConfigPtpInterface, EveryValue_SetsFlagAndLine) {
    const tLines off = {"Config option CM_PTP_INT is off, PtP interface setup disabled"};
    checkIntCases(&cConfigReader::getConfigOptionPtpOption, "CM_PTP_INT",
                  [](const sConfigFileOpts& opts) { return opts.ptpInterface; },
                  {{"yes", 1, {"Config option CM_PTP_INT is 'yes', PtP interface setup enabled"}},
                   {"no", 0, off},
                   {"", 0, off},
                   {"on", 0, off}});
}

TEST(ConfigIpFamily, EveryValue_SetsFamilyAndLine) {
    checkIntCases(&cConfigReader::getConfigOptionIpFamily, "CM_IPFAMILY",
                  [](const sConfigFileOpts& opts) { return opts.ipFamily; },
                  {{"ipv4v6", 3, {"Config option CM_IPFAMILY is IPv4v6"}},
                   {"ipv4", 1, {"Config option CM_IPFAMILY is IPv4 only"}},
                   {"ipv6", 2, {"Config option CM_IPFAMILY is IPv6 only"}},
                   {"", 3, {"Config option CM_IPFAMILY default to IPv4v6"}},
                   {"ipv5", 3, {"Config option CM_IPFAMILY default to IPv4v6"}}});
}

TEST(ConfigSimSlot, EveryValue_SetsSlotAndLine) {
    const auto invalid = [](const std::string& value) {
        return tLines{"Config option CM_SIM_SLOT=" + value +
                      " is invalid, defaulting to SIM Slot 1"};
    };
    checkIntCases(&cConfigReader::getConfigOptionSimSlot, "CM_SIM_SLOT",
                  [](const sConfigFileOpts& opts) { return opts.simSlot; },
                  {{"1", 1, {"Config option CM_SIM_SLOT is 1"}},
                   {"2", 2, {"Config option CM_SIM_SLOT is 2"}},
                   {" 2 ", 2, {"Config option CM_SIM_SLOT is 2"}},
                   {"", 1, invalid("")},
                   {"0", 1, invalid("0")},
                   {"3", 1, invalid("3")},
                   {"02", 1, invalid("02")},
                   {"1 2", 1, invalid("12")},
                   {"4294967298", 1, invalid("4294967298")}});
}

// Numbers

TEST(ConfigFirmwareSlot, EveryValue_SetsSlotAndLine) {
    const auto notNumeric = [](const std::string& value) {
        return tLines{"Error: The config entry CM_FW_SLOT=" + value +
                      " is not valid,setting to Auto"};
    };
    const auto other = [](const std::string& value) {
        return tLines{"The config entry CM_FW_SLOT=" + value + " is not valid, setting to Auto"};
    };
    sConfigFileOpts before;
    before.firmwareSlot = 1;
    checkIntCases(
        &cConfigReader::getConfigOptionFirmwareSlot, "CM_FW_SLOT",
        [](const sConfigFileOpts& opts) { return opts.firmwareSlot; },
        {{"0", 0, {"CM_FW_SLOT set to 0"}},
         {"1", 1, {"CM_FW_SLOT set to 1"}},
         {"2", -1, other("2")},
         {"01", -1, other("01")},
         {"4294967296", -1, other("4294967296")},
         {"", -1, notNumeric("")},
         {"-1", -1, notNumeric("-1")},
         {"auto", -1, notNumeric("auto")}},
        before);
}

TEST(ConfigMtu, EveryValue_SetsMtuAndLine) {
    const tLines outOfRange = {
        "Config option CM_MTU is invalid, must be between values 60 and 1500, defaulting to 1500"};
    checkIntCases(&cConfigReader::getConfigOptionMTU, "CM_MTU",
                  [](const sConfigFileOpts& opts) { return opts.mtu; },
                  {{"", 1500, {"Config option CM_MTU not set, defaulting to 1500"}},
                   {"60", 60, {"Config option CM_MTU is set to 60"}},
                   {"1400", 1400, {"Config option CM_MTU is set to 1400"}},
                   {"01400", 1400, {"Config option CM_MTU is set to 1400"}},
                   {"1500", 1500, {"Config option CM_MTU is set to 1500"}},
                   {"59", 1500, outOfRange},
                   {"1501", 1500, outOfRange},
                   {"0", 1500, outOfRange},
                   {"4294968296", 1500, outOfRange},
                   {"99999999999", 1500, outOfRange},
                   {"18446744073709552616", 1500, outOfRange},
                   {std::string(40, '9'), 1500, outOfRange}});
}

TEST(ConfigMtu, NotANumber_KeepsTheMtuAndIsLogged) {
    sConfigFileOpts before;
    before.mtu = 1200;
    for (const std::string value : {"abc", "-1", "+1400", "1400b", "14 00", "0x100"}) {
        const sOptionRun run(&cConfigReader::getConfigOptionMTU, "CM_MTU", value, before);
        EXPECT_EQ(run.opts.mtu, 1200) << value;
        EXPECT_EQ(run.lines,
                  tLines{"Config option CM_MTU='" + value + "' is not a number, ignoring"});
    }
}

// All options

TEST(ConfigOptions, EachOption_TracesItsEntryUnderItsCategory) {
    const std::vector<std::string> names = {
        "getConfigOptionDebug",     "getConfigOptionEnableInt",    "getConfigOptionApn",
        "getConfigOptionApn2",      "getConfigOptionSyncTime",     "getConfigOptionNetPref",
        "getConfigOptionRoaming",   "getConfigOptionDefaultRoute", "getConfigOptionUser",
        "getConfigOptionPassword",  "getConfigOptionAuthType",     "getConfigOptionFirmwareSlot",
        "getConfigOptionDNS",       "getConfigOptionMTU",          "getConfigOptionOperatorMode",
        "getConfigOptionOperator",  "getConfigOptionBand",         "getConfigOptionBand3g",
        "getConfigOptionBand4g",    "getConfigOptionSimSlot",      "getConfigOptionGpsEnable",
        "getConfigOptionPtpOption", "getConfigOptionIpFamily"};
    ASSERT_EQ(configKeys().size(), names.size());
    for (size_t i = 0; i < names.size(); ++i) {
        const sOptionRun run(configKeys()[i].option, configKeys()[i].name, "", {}, eLOG_CONFIG);
        ASSERT_FALSE(run.lines.empty());
        EXPECT_EQ(run.lines[0], "DEBUG: Entering " + names[i] + "()");
    }
}

TEST(ConfigOptions, PercentSignsInValues_AreNoFormat) {
    for (const sConfigKey& key : configKeys()) {
        const sOptionRun run(key.option, key.name, "%s%n%d%s%s%s");
        for (const std::string& line : run.lines) {
            EXPECT_EQ(line.find("(null)"), std::string::npos) << line;
        }
    }
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionRoaming, "CM_ROAMING", "%s%s").lines,
              tLines{"Config option CM_ROAMING unknown value '%s%s', allowing roaming (default)"});
}

TEST(ConfigOptions, ControlCharactersInValues_DoNotReachTheLog) {
    const std::string value("a\x1b[2Jb\x07\tc\x7f\rd", 12);
    for (const sConfigKey& key : configKeys()) {
        const sOptionRun run(key.option, key.name, value);
        for (const std::string& line : run.lines) {
            for (const char character : line) {
                const auto code = static_cast<unsigned char>(character);
                EXPECT_FALSE(code < 0x20 || code == 0x7f) << key.name << ": " << int{code};
            }
        }
    }
}
