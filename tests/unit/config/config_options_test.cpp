#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "config/config_reader.h"
#include "include/debug.h"
#include "tests/support/captured_log.h"

// Each option function by itself: value in, record field and log lines out.

namespace {

using tLines = std::vector<std::string>;

// Calls one option function as readConfig does and keeps what became of it.
struct sOptionRun {
    explicit sOptionRun(tConfigOption option, const std::string& key, const std::string& value,
                        const sConfigFileOpts& before = {}, uint64_t mask = 0)
        : opts(before) {
        cConfigReader reader;
        reader.init("unused", mask);
        clearCapturedLog();
        (reader.*option)(key, value, opts);
        lines = capturedLog();
        g_i_debugMode = 0;
    }

    sConfigFileOpts opts;
    tLines lines;
};

struct sIntCase {
    std::string value;
    int64_t expected;
    tLines lines;
};

void checkIntCases(tConfigOption option, const std::string& key,
                   const std::function<int64_t(const sConfigFileOpts&)>& field,
                   const std::vector<sIntCase>& cases, const sConfigFileOpts& before = {}) {
    for (const sIntCase& one : cases) {
        const sOptionRun run(option, key, one.value, before);
        EXPECT_EQ(field(run.opts), one.expected) << key << "=" << one.value.substr(0, 80);
        EXPECT_EQ(run.lines, one.lines) << key << "=" << one.value.substr(0, 80);
    }
}

std::string withControlCharacter(char control) {
    return std::string("ab") + control + "cd";
}

// All of them, tab and DEL among them.
std::string controlCharacters() {
    std::string all("\x7f");
    for (char control = 0; control < ' '; ++control)
        all += control;
    return all;
}

const std::string CONTROL_CHARACTERS = controlCharacters();

// What is logged of withControlCharacter.
std::string controlLine(const std::string& key, char control, const std::string& allowed) {
    char code[8];
    snprintf(code, sizeof code, "0x%02X", static_cast<unsigned char>(control));
    return "Error: Config option " + key + " has a control character (" + code +
           ", character 3 of 5), allowed: " + allowed;
}

constexpr const char* APN_ALLOWED = "1 to 104 letters, digits, blanks and .-_!";
constexpr const char* CREDENTIAL_ALLOWED =
    "1 to 63 characters, no tabs or other control characters";
constexpr const char* OPERATOR_ALLOWED =
    "5 or 6 digits, or a name of 1 to 28 characters, no tabs or other control characters";

}  // namespace

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

TEST_F(cConfigDebugMode, NewMask_RulesTheReadersOwnLines) {
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

// CM_APN, CM_APN2

TEST(ConfigApn, ValidApn_IsStoredAsWritten) {
    for (const std::string value : {"internet", "Internet.GPRS", "  Two Words ", "a-b_c!9", "x"}) {
        const sOptionRun first(&cConfigReader::getConfigOptionApn, "CM_APN", value);
        EXPECT_EQ(first.opts.apn, value);
        EXPECT_EQ(first.opts.apn2, "");
        const sOptionRun second(&cConfigReader::getConfigOptionApn2, "CM_APN2", value);
        EXPECT_EQ(second.opts.apn2, value);
        EXPECT_EQ(second.opts.apn, "");
    }
}

TEST(ConfigApn, ValidApn_IsLoggedWithItsKey) {
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", " Net ").lines,
              tLines{"Config option CM_APN is ' Net '"});
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn2, "CM_APN2", "net").lines,
              tLines{"Config option CM_APN2 is 'net'"});
}

TEST(ConfigApn, LengthLimit_Is104AfterTrimming) {
    const std::string longest(104, 'a');
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", longest).opts.apn, longest);
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", " " + longest).opts.apn,
              " " + longest);
    const std::string tooLong(105, 'a');
    const sOptionRun run(&cConfigReader::getConfigOptionApn, "CM_APN", tooLong);
    EXPECT_EQ(run.opts.apn, "");
    EXPECT_EQ(run.lines, (tLines{"APN '" + tooLong + "' is too long, max length allowed is 104",
                                 "Error:  The APN '" + tooLong + "' is not valid"}));
}

TEST(ConfigApn, InvalidApn_ClearsTheField) {
    sConfigFileOpts before;
    before.apn = "before";
    before.apn2 = "before2";
    for (const std::string value :
         {"", "   ", "inter\"net", "a,b", "a;b", "a=b", "a\tb", "caf\xc3\xa9", "$(reboot)"}) {
        const sOptionRun first(&cConfigReader::getConfigOptionApn, "CM_APN", value, before);
        EXPECT_EQ(first.opts.apn, "") << value;
        EXPECT_EQ(first.opts.apn2, "before2") << value;
        const sOptionRun second(&cConfigReader::getConfigOptionApn2, "CM_APN2", value, before);
        EXPECT_EQ(second.opts.apn2, "") << value;
    }
}

TEST(ConfigApn, InvalidApn_IsLogged) {
    EXPECT_EQ(sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", "").lines,
              (tLines{"Note: APN is empty", "Error:  The APN '' is not valid"}));
    EXPECT_EQ(
        sOptionRun(&cConfigReader::getConfigOptionApn, "CM_APN", "a,b").lines,
        (tLines{"apnValidFormat(): Error: Bad APN format", "Error:  The APN 'a,b' is not valid"}));
}

TEST(ConfigApn, ControlCharacterAtTheEdge_IsRefusedAlthoughTrimmed) {
    for (const std::string value : {"\rath0", "internet\r", "\ninternet", "internet\n",
                                    "\tinternet", "internet\t", "\vinternet", "internet\f"}) {
        const sOptionRun run(&cConfigReader::getConfigOptionApn, "CM_APN", value);
        EXPECT_EQ(run.opts.apn, "");
        ASSERT_EQ(run.lines.size(), 2U);
        EXPECT_EQ(run.lines[0].find("Error: Config option CM_APN has a control character (0x0"),
                  0U);
        EXPECT_EQ(run.lines[1].find("Error:  The APN '"), 0U);
        EXPECT_EQ(run.lines[1].find_first_of("\r\n\t\v\f"), std::string::npos);
    }
}

TEST(ConfigApn, ControlCharacter_IsRefusedAndNamed) {
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionApn2, "CM_APN2",
                             withControlCharacter(control));
        EXPECT_EQ(run.opts.apn2, "") << int{control};
        const std::string shown = control == 0 ? "ab" : "ab cd";  // a log line ends at NUL
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_APN2", control, APN_ALLOWED),
                                     "Error:  The APN '" + shown + "' is not valid"}));
    }
}

TEST(ApnValidFormat, EveryRefusal_HasItsLine) {
    cConfigReader reader;
    reader.init("unused", 0);
    const std::string tooLong(105, 'x');
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "Note: APN is empty"},
        {tooLong, "APN '" + tooLong + "' is too long, max length allowed is 104"},
        {"   ", "APN cannot contain only spaces"},
        {"in?ternet", "apnValidFormat(): Error: Bad APN format"},
        {"Internet", "apnValidFormat(): Error: Bad APN format"},
    };
    for (const auto& [apn, line] : cases) {
        clearCapturedLog();
        EXPECT_FALSE(reader.apnValidFormat(apn)) << apn;
        EXPECT_EQ(capturedLog(), tLines{line});
    }
}

TEST(ApnValidFormat, EveryAllowedCharacter_IsAccepted) {
    cConfigReader reader;
    EXPECT_TRUE(reader.apnValidFormat("abcdefghijklmnopqrstuvwxyz0123456789 .-_!"));
    const std::string allowed = "abcdefghijklmnopqrstuvwxyz0123456789 .-_!";
    for (int code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        const bool expected = allowed.find(character) != std::string::npos;
        EXPECT_EQ(reader.apnValidFormat(std::string("a") + character), expected) << code;
    }
}

// Texts with one meaning each

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

// CM_USERNAME, CM_PASSWORD, CM_AUTH_TYPE

TEST(ConfigUser, OneTo63Characters_AreStored) {
    for (const std::string& value :
         {std::string("u"), std::string("User Name"), std::string(63, 'u'), std::string(" ")}) {
        const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", value);
        EXPECT_EQ(run.opts.username, value);
        EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is '" + value + "'"});
    }
}

TEST(ConfigUser, EmptyName_IsIgnored) {
    sConfigFileOpts before;
    before.username = "before";
    const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", "", before);
    EXPECT_EQ(run.opts.username, "before");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is empty, ignoring"});
}

TEST(ConfigUser, TooLongName_IsCleared) {
    sConfigFileOpts before;
    before.username = "before";
    const std::string value(64, 'u');
    const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME", value, before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME value'" + value +
                                "' is too long, max length is 63"});
}

TEST(ConfigUser, ControlCharacter_IsClearedAndNotLogged) {
    sConfigFileOpts before;
    before.username = "before";
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionUser, "CM_USERNAME",
                             withControlCharacter(control), before);
        EXPECT_EQ(run.opts.username, "") << int{control};
        EXPECT_EQ(run.lines, tLines{controlLine("CM_USERNAME", control, CREDENTIAL_ALLOWED)});
    }
}

TEST(ConfigPassword, WithUser_IsStored) {
    sConfigFileOpts before;
    before.username = "user";
    for (const std::string& value :
         {std::string("p"), std::string("a=b c"), std::string(63, 'p')}) {
        const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", value, before);
        EXPECT_EQ(run.opts.password, value);
        EXPECT_EQ(run.opts.username, "user");
        EXPECT_EQ(run.lines, tLines{"Config option CM_PASSWORD is '" + value + "'"});
    }
}

TEST(ConfigPassword, TooLong_ClearsBoth) {
    sConfigFileOpts before;
    before.username = "user";
    before.password = "before";
    const std::string value(64, 'p');
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", value, before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines,
              (tLines{"Config option CM_PASSWORD='" + value + "' is too long, max length is 63",
                      " - ignoring Username/Password settings"}));
}

TEST(ConfigPassword, WithoutUser_ClearsBoth) {
    sConfigFileOpts before;
    before.password = "before";
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", "pw", before);
    EXPECT_EQ(run.opts.username, "");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines, tLines{"Config option CM_USERNAME is empty, not using CM_PASSWORD"});
}

TEST(ConfigPassword, Empty_DoesNothingAtAll) {
    sConfigFileOpts before;
    before.username = "user";
    const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD", "", before);
    EXPECT_EQ(run.opts.username, "user");
    EXPECT_EQ(run.opts.password, "");
    EXPECT_EQ(run.lines, tLines{});
}

TEST(ConfigPassword, ControlCharacter_ClearsBothAndIsNotLogged) {
    sConfigFileOpts before;
    before.username = "user";
    before.password = "before";
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run(&cConfigReader::getConfigOptionPassword, "CM_PASSWORD",
                             withControlCharacter(control), before);
        EXPECT_EQ(run.opts.username, "");
        EXPECT_EQ(run.opts.password, "");
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_PASSWORD", control, CREDENTIAL_ALLOWED),
                                     " - ignoring Username/Password settings"}));
    }
}

TEST(ConfigAuthType, EveryValueWithAndWithoutCredentials_SetsTypeAndLine) {
    struct sCase {
        std::string username;
        std::string password;
        std::string value;
        int authType;
        std::string line;
    };
    const std::string ignored = "Config option ignored, username/password empty";
    const std::string missing =
        "Config option CM_AUTH_TYPE missing (username/password set), default set to 'CHAP'";
    const std::string off =
        "Config option CM_AUTH_TYPE set to 'OFF', authentication will be cleared";
    const std::vector<sCase> cases = {
        {"", "", "", -1, "Config option CM_AUTH_TYPE missing, Disabling"},
        {"u", "", "", 2, missing},
        {"", "p", "", 2, missing},
        {"u", "p", "", 2, missing},
        {"", "", "off", 0, off},
        {"u", "", "off", 0, off},
        {"", "", "pap", -1, ignored},
        {"u", "", "chap", -1, ignored},
        {"", "", "any", -1, ignored},
        {"u", "p", "pap", 1, "Config option CM_AUTH_TYPE set to 'PAP'"},
        {"u", "p", "chap", 2, "Config option CM_AUTH_TYPE set to 'CHAP'"},
        {"u", "p", "off", -1,
         "Config option CM_AUTH_TYPE set to 'OFF', but username/password are set, setting ignored"},
        {"u", "p", "any", 2, "Config option CM_AUTH_TYPE default set to 'CHAP' for authentication"},
    };
    for (const sCase& one : cases) {
        sConfigFileOpts before;
        before.username = one.username;
        before.password = one.password;
        before.authType = 77;
        const sOptionRun run(&cConfigReader::getConfigOptionAuthType, "CM_AUTH_TYPE", one.value,
                             before);
        EXPECT_EQ(run.opts.authType, one.authType) << one.line;
        EXPECT_EQ(run.lines, tLines{one.line});
    }
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

TEST(ConfigMtu, NotANumber_StaysAndIsLogged) {
    sConfigFileOpts before;
    before.mtu = 1200;
    for (const std::string value : {"abc", "-1", "+1400", "1400b", "14 00", "0x100"}) {
        const sOptionRun run(&cConfigReader::getConfigOptionMTU, "CM_MTU", value, before);
        EXPECT_EQ(run.opts.mtu, 1200) << value;
        EXPECT_EQ(run.lines,
                  tLines{"Config option CM_MTU='" + value + "' is not a number, ignoring"});
    }
}

// CM_OPERATOR_MODE, CM_OPERATOR

TEST(ConfigOperatorMode, EveryValue_SetsModeAndLine) {
    const std::vector<std::pair<std::string, std::pair<std::string, std::string>>> cases = {
        {"",
         {"0", "Config option CM_OPERATOR_MODE is missing, Operator Selection set to Auto Mode"}},
        {"0", {"0", "Config option CM_OPERATOR_MODE is 0, set Operator Selection to Auto Mode"}},
        {"1",
         {"1", "Config option CM_OPERATOR_MODE is 1, set Operator Selection to Manual selection"}},
        {"4",
         {"4", "Config option CM_OPERATOR_MODE is 4, set Operator Selection to Manual selection"}},
        {"2",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
        {"01",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
        {"auto",
         {"0",
          "Config option CM_OPERATOR_MODE is empty/invalid, Operator Selection set to Auto Mode"}},
    };
    sConfigFileOpts before;
    before.operatorMode = "4";
    for (const auto& [value, expected] : cases) {
        const sOptionRun run(&cConfigReader::getConfigOptionOperatorMode, "CM_OPERATOR_MODE", value,
                             before);
        EXPECT_EQ(run.opts.operatorMode, expected.first) << value;
        EXPECT_EQ(run.lines, tLines{expected.second});
    }
}

namespace {

sOptionRun readOperator(const std::string& mode, const std::string& value) {
    sConfigFileOpts before;
    before.operatorMode = mode;
    return sOptionRun(&cConfigReader::getConfigOptionOperator, "CM_OPERATOR", value, before);
}

}  // namespace

TEST(ConfigOperator, AutomaticMode_IgnoresTheValue) {
    const sOptionRun run = readOperator("0", "310410");
    EXPECT_EQ(run.opts.operatorMode, "0");
    EXPECT_EQ(run.opts.operatorName, "");
    EXPECT_EQ(run.lines, tLines{});
}

TEST(ConfigOperator, PlmnNumber_IsStored) {
    for (const std::string mode : {"1", "4"}) {
        for (const std::string value : {"26201", "310410"}) {
            const sOptionRun run = readOperator(mode, value);
            EXPECT_EQ(run.opts.operatorMode, mode);
            EXPECT_EQ(run.opts.operatorName, value);
            EXPECT_EQ(run.lines, tLines{"Config option CM_OPERATOR is '" + value +
                                        "', set Operator Selection to Manual Mode for PLMN number "
                                        "selection"});
        }
    }
}

TEST(ConfigOperator, NumberOfOtherLength_GivesAutomaticMode) {
    for (const std::string value : {"1", "2620", "3104101", "99999999999999999999999999999999"}) {
        const sOptionRun run = readOperator("1", value);
        EXPECT_EQ(run.opts.operatorMode, "0");
        EXPECT_EQ(run.opts.operatorName, "");
        EXPECT_EQ(run.lines, tLines{"Config option CM_OPERATOR value '" + value +
                                    "' is invalid (length not 5-6), Operator Selection set to Auto "
                                    "Mode"});
    }
}

TEST(ConfigOperator, Name_IsStoredAndNamedByMode) {
    for (const std::string& value : {std::string("Telekom.de"), std::string("26201 "),
                                     std::string("x"), std::string(28, 'n')}) {
        const sOptionRun manual = readOperator("1", value);
        EXPECT_EQ(manual.opts.operatorMode, "1");
        EXPECT_EQ(manual.opts.operatorName, value);
        EXPECT_EQ(manual.lines,
                  tLines{"Config option CM_OPERATOR is '" + value +
                         "', set Operator Selection to Manual Mode for PLMN/Carrier Name"});
        const sOptionRun fallback = readOperator("4", value);
        EXPECT_EQ(fallback.opts.operatorMode, "4");
        EXPECT_EQ(fallback.opts.operatorName, value);
        EXPECT_EQ(fallback.lines,
                  tLines{"Config option CM_OPERATOR is '" + value +
                         "', set Operator Selection to Manual Mode for Carrier Name selection"});
    }
}

TEST(ConfigOperator, EmptyOrTooLong_GivesAutomaticMode) {
    const sOptionRun empty = readOperator("4", "");
    EXPECT_EQ(empty.opts.operatorMode, "0");
    EXPECT_EQ(empty.lines,
              tLines{"Config option CM_OPERATOR is empty/invalid, Operator Selection set to Auto "
                     "Mode"});
    const std::string value(29, 'n');
    const sOptionRun tooLong = readOperator("4", value);
    EXPECT_EQ(tooLong.opts.operatorMode, "0");
    EXPECT_EQ(tooLong.opts.operatorName, "");
    EXPECT_EQ(tooLong.lines, tLines{"Config option CM_OPERATOR = '" + value +
                                    "' is too long, max characters is 28, Operator Selection set "
                                    "to Auto Mode"});
}

TEST(ConfigOperator, ControlCharacter_GivesAutomaticModeAndIsNotLogged) {
    for (const char control : CONTROL_CHARACTERS) {
        const sOptionRun run = readOperator("1", withControlCharacter(control));
        EXPECT_EQ(run.opts.operatorMode, "0");
        EXPECT_EQ(run.opts.operatorName, "");
        EXPECT_EQ(run.lines, (tLines{controlLine("CM_OPERATOR", control, OPERATOR_ALLOWED),
                                     "Config option CM_OPERATOR is empty/invalid, Operator "
                                     "Selection set to Auto Mode"}));
    }
}

// Bands

TEST(ConfigBandMode, EveryValue_SetsModeAndLine) {
    const auto invalid = [](const std::string& value) {
        return tLines{"Config option CM_BAND_MODE value '" + value +
                      "' is invalid, Band Selection set to Auto Mode"};
    };
    const tLines automatic = {
        "Config option CM_BAND_MODE is auto, Band Selection set to Auto Mode"};
    sConfigFileOpts before;
    before.bandMode = eBAND_MODE_MANUAL;
    checkIntCases(
        &cConfigReader::getConfigOptionBand, "CM_BAND_MODE",
        [](const sConfigFileOpts& opts) { return opts.bandMode; },
        {{"auto", 0, automatic},
         {" Au to", 0, automatic},
         {"manual", 1, {}},
         {"MANUAL", 1, {}},
         {"", 0, invalid("")},
         {"1", 0, invalid("1")}},
        before);
}

TEST(ConfigBand3g, NumberInRange_IsStoredWithItsBit) {
    for (int number = 0; number <= 7; ++number) {
        const std::string value = std::to_string(number);
        const sOptionRun run(&cConfigReader::getConfigOptionBand3g, "CM_3G_BAND", value);
        EXPECT_EQ(run.opts.band3gText, value);
        EXPECT_EQ(run.opts.band3gBits, 1U << number);
        EXPECT_EQ(run.lines, tLines{"Config option CM_3G_BAND is " + value});
    }
}

TEST(ConfigBand3g, LeadingZero_PassesTheRangeButHasNoBit) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand3g, "CM_3G_BAND", "07");
    EXPECT_EQ(run.opts.band3gText, "07");
    EXPECT_EQ(run.opts.band3gBits, 0U);
    EXPECT_EQ(run.lines, tLines{"Config option CM_3G_BAND is 07"});
    EXPECT_EQ(g_M_3GBandBits.size(), 8U);
}

TEST(ConfigBand3g, BlanksInside_AreRemoved) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand3g, "CM_3G_BAND", " 5 ");
    EXPECT_EQ(run.opts.band3gText, "5");
    EXPECT_EQ(run.opts.band3gBits, 32U);
}

TEST(ConfigBand3g, MissingOrInvalid_ChangesNothing) {
    sConfigFileOpts before;
    before.band3gText = "2";
    before.band3gBits = 4;
    const sOptionRun missing(&cConfigReader::getConfigOptionBand3g, "CM_3G_BAND", "", before);
    EXPECT_EQ(missing.opts.band3gText, "2");
    EXPECT_EQ(missing.lines, tLines{"Config option CM_3G_BAND is missing"});
    for (const std::string value :
         {"8", "-1", "+1", "b1", "1,2", "4294967296", "99999999999999999999"}) {
        const sOptionRun run(&cConfigReader::getConfigOptionBand3g, "CM_3G_BAND", value, before);
        EXPECT_EQ(run.opts.band3gText, "2") << value;
        EXPECT_EQ(run.opts.band3gBits, 4U) << value;
        EXPECT_EQ(run.lines, tLines{"Config option CM_3G_BAND = '" + value +
                                    "' is not a valid 3G entry, must be 0 to 7"});
    }
}

TEST(ConfigBand4g, EveryBandAlone_SetsItsBit) {
    for (int band = 1; band <= 31; ++band) {
        const std::string value = "B" + std::to_string(band);
        const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", value);
        EXPECT_EQ(run.opts.band4gBits, uint64_t{1} << (band - 1));
        EXPECT_EQ(run.opts.band4gText, value);
        EXPECT_EQ(run.lines, tLines{"Config option CM_4G_BAND = '" + value + "' is valid"});
    }
}

TEST(ConfigBand4g, Band32_IsWidenedWithItsSign) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", "b32");
    EXPECT_EQ(run.opts.band4gBits, 0xFFFFFFFF80000000U);
    EXPECT_EQ(run.opts.band4gText, "B32");
}

TEST(ConfigBand4g, List_IsCleanedAndJoined) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", "b2, b4 ,b13,b4");
    EXPECT_EQ(run.opts.band4gBits, 0x100AU);
    EXPECT_EQ(run.opts.band4gText, "B2,B4,B13,B4");
    EXPECT_EQ(run.lines, tLines{"Config option CM_4G_BAND = 'B2,B4,B13,B4' is valid"});
}

TEST(ConfigBand4g, UnknownBand_EndsTheListAndKeepsTheBitsBefore) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", "b3,b40,b7");
    EXPECT_EQ(run.opts.band4gBits, 4U);
    EXPECT_EQ(run.opts.band4gText, "");
    EXPECT_EQ(run.lines,
              tLines{"Error: Entry 'B40' in CM_4G_BAND is not a valid LTE Band designation"});
}

TEST(ConfigBand4g, MalformedEntries_AreRefused) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"b0", "B0"},   {"b01", "B01"}, {"b33", "B33"}, {"3", "3"},
        {",b1", ""},    {"b1,", ""},    {"b1,,b2", ""}, {"b1;b2", "B1;B2"},
        {"bb1", "BB1"}, {"b", "B"},     {"b-1", "B-1"}, {"b4294967297", "B4294967297"},
    };
    for (const auto& [value, entry] : cases) {
        const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", value);
        EXPECT_EQ(run.opts.band4gText, "") << value;
        EXPECT_EQ(run.lines, tLines{"Error: Entry '" + entry +
                                    "' in CM_4G_BAND is not a valid LTE Band designation"});
    }
}

TEST(ConfigBand4g, Missing_ChangesNothing) {
    const sOptionRun run(&cConfigReader::getConfigOptionBand4g, "CM_4G_BAND", "");
    EXPECT_EQ(run.opts.band4gBits, 0U);
    EXPECT_EQ(run.lines, tLines{"Config option CM_4G_BAND is missing"});
}

TEST(BandTables, EveryRow_IsItsBit) {
    ASSERT_EQ(g_M_3GBandBits.size(), 8U);
    EXPECT_EQ(g_M_3GBandBits.at("0"), 1);
    EXPECT_EQ(g_M_3GBandBits.at("1"), 2);
    EXPECT_EQ(g_M_3GBandBits.at("7"), 128);
    ASSERT_EQ(g_M_4GBandBits.size(), 32U);
    EXPECT_EQ(g_M_4GBandBits.at("B1"), 1);
    EXPECT_EQ(g_M_4GBandBits.at("B2"), 2);
    EXPECT_EQ(g_M_4GBandBits.at("B31"), 0x40000000);
    EXPECT_EQ(g_M_4GBandBits.at("B32"), INT32_MIN);
}

// All options alike

TEST(ConfigOptions, EachOne_TracesItsEntryAtItsCategory) {
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
