#include "config/config_reader.h"

#include <sys/stat.h>
#include <unistd.h>

#include <functional>

#include "include/utilities.h"
#include "tests/unit/config/config_reader_fixture.h"

namespace {

// The record after a reset, repeated here so that a change of a default is noticed.
const char* const DEFAULTS =
    "debugMode 0\nconfigRead 0\nsyncTime 1\nroamingAllowed 1\napn \napn2 \nenableInterface 0\n"
    "dataDirective 1 eCONF_DATA_CONNECT_ENABLED\ndefaultRoute 1\nspare 0\nprofileContext 1\n"
    "apnDirective 0\nusername \npassword \nauthType -1\nnetPrefChanged 0\nfirmwareSlot -1\n"
    "netPref 7\nnetPrefText \nuseDns 1\nmtu 1500\noperatorMode 0\noperatorName \nbandMode 0\n"
    "band3gText \nband4gText \nbandGsm 0\nband3gBits 0\nband4gBits 0\nmd5 kept\nsimSlot 0\n"
    "gpsEnable 1\nptpInterface 0\nipFamily 3\n";

// A record in which no field has its default.
sConfigFileOpts changedRecord() {
    sConfigFileOpts o;
    o.debugMode = 1;
    o.configRead = true;
    o.syncTime = o.roamingAllowed = o.defaultRoute = o.useDns = o.gpsEnable = false;
    o.apn = o.apn2 = o.username = o.password = o.netPrefText = o.operatorName = "x";
    o.enableInterface = -1;
    o.dataDirective = {eCONF_DATA_CONNECT_HOLDOFF, "x"};
    o.spare = o.apnDirective = o.bandGsm = o.band3gBits = 9;
    o.profileContext = "3";
    o.authType = 2;
    o.netPrefChanged = o.ptpInterface = true;
    o.firmwareSlot = 1;
    o.netPref = eNET_PREF_2G_3G_4G;
    o.mtu = 60;
    o.operatorMode = "4";
    o.bandMode = 1;
    o.band3gText = o.band4gText = "x";
    o.band4gBits = 9;
    o.md5 = "kept";
    o.simSlot = 2;
    o.ipFamily = 1;
    return o;
}

}  // namespace

// init, getRawValue, getValue, resetConfigValues

TEST(ConfigReaderInit, EmptyPath_IsRefused) {
    cConfigReader reader;
    clearCapturedLog();
    EXPECT_FALSE(reader.init("", 0));
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"Error: cConfigReader(): Missing /path/config_file"});
    EXPECT_TRUE(reader.init("/path", 0));
    EXPECT_EQ(capturedLog().size(), 1U);
}

TEST_F(cConfigReaderTest, GetValue_IsTrimmedAndLoweredRawValueIsNot) {
    writeFile(path, " KEY =  Some Value=2 \nEMPTY=\n");
    const cTextLookupTable table(path, '=');
    EXPECT_EQ(reader.getRawValue("KEY", table), "  Some Value=2 ");
    EXPECT_EQ(reader.getValue("KEY", table), "some value=2");
    EXPECT_EQ(reader.getRawValue("EMPTY", table), "");
    EXPECT_EQ(reader.getValue("EMPTY", table), "");
    EXPECT_EQ(reader.getRawValue("MISSING", table), "");
    EXPECT_EQ(reader.getValue("key", table), "");
}

TEST_F(cConfigReaderTest, Reset_RestoresEveryFieldButDigestAndNetPref) {
    opts = changedRecord();
    reader.resetConfigValues(opts);
    EXPECT_EQ(describe(opts), DEFAULTS);
}

// The file as a whole

TEST_F(cConfigReaderTest, FullFile_SetsEveryField) {
    EXPECT_EQ(read(FULL_FILE), eCONFIG_APPLIED);
    EXPECT_EQ(describe(opts),
              "debugMode 0\nconfigRead 1\nsyncTime 0\nroamingAllowed 0\napn Internet.Example\n"
              "apn2 second\nenableInterface 1\ndataDirective 1 eCONF_DATA_CONNECT_ENABLED\n"
              "defaultRoute 0\nspare 0\nprofileContext 1\napnDirective 0\nusername User\n"
              "password Pass=Word\nauthType 1\nnetPrefChanged 0\nfirmwareSlot 1\nnetPref 4\n"
              "netPrefText 4g\nuseDns 0\nmtu 1400\noperatorMode 4\noperatorName 26201\nbandMode 1\n"
              "band3gText 2\nband4gText B3,B7\nbandGsm 0\nband3gBits 4\nband4gBits 68\nmd5 " +
                  getMd5(FULL_FILE) + "\nsimSlot 2\ngpsEnable 0\nptpInterface 1\nipFamily 1\n");
}

TEST_F(cConfigReaderTest, FullFile_IsLoggedInReadingOrder) {
    read(FULL_FILE);
    const std::vector<std::string> expected = {
        "Config " + path + " MD5 changed from: '' to '" + getMd5(FULL_FILE) + "'",
        "Reading config file " + path,
        "DEBUG_MODE set to 0x0000000000000000",
        "Config option CM_ENABLE_INTERFACE is 'yes', enabling WAN interface",
        "Config option CM_APN is 'Internet.Example'",
        "Config option CM_APN2 is 'second'",
        "Config option CM_SYNC_TIME config option is set to 'no' (disabled)",
        "Config Network Preference set to 4G Only",
        "Config option CM_DATA_SPEED is '4g'",
        "Config option CM_ROAMING set to 'home', home network registration only (roaming not "
        "allowed)",
        "Config option CM_DEFAULTROUTE is 'no', WAN interface default route setting is off",
        "Config option CM_USERNAME is 'User'",
        "Config option CM_PASSWORD is 'Pass=Word'",
        "Config option CM_AUTH_TYPE set to 'PAP'",
        "CM_FW_SLOT set to 1",
        "Config option CM_USE_DNS is 'NO', disabling setting cellular DNS",
        "Config option CM_MTU is set to 1400",
        "Config option CM_OPERATOR_MODE is 4, set Operator Selection to Manual selection",
        "Config option CM_OPERATOR is '26201', set Operator Selection to Manual Mode for PLMN "
        "number selection",
        "Config option CM_3G_BAND is 2",
        "Config option CM_4G_BAND = 'B3,B7' is valid",
        "Config band options for 3G/4G options are valid",
        "Config option CM_SIM_SLOT is 2",
        "Config option CM_GPS_ENABLE is 'no', GPS disabled",
        "Config option CM_PTP_INT is 'yes', PtP interface setup enabled",
        "Config option CM_IPFAMILY is IPv4 only",
    };
    EXPECT_EQ(capturedLog(), expected);
}

TEST_F(cConfigReaderTest, LinesInAnyOrder_GiveTheSame) {
    std::istringstream lines(FULL_FILE);
    std::string reversed;
    for (std::string line; std::getline(lines, line);) {
        reversed.insert(0, line + "\n");
    }
    read(FULL_FILE);
    sConfigFileOpts other;
    cConfigReader otherReader;
    writeFile(path, reversed);
    otherReader.init(path, 0);
    otherReader.readConfig(other);
    other.md5 = opts.md5;
    EXPECT_EQ(describe(other), describe(opts));
}

TEST_F(cConfigReaderTest, EmptyFile_IsAppliedWithDefaultsAndSimSlot1) {
    EXPECT_EQ(read(""), eCONFIG_APPLIED);
    sConfigFileOpts expected;
    expected.configRead = true;
    expected.md5 = "d41d8cd98f00b204e9800998ecf8427e";
    expected.simSlot = 1;
    expected.dataDirective = {eCONF_DATA_CONNECT_DISABLED, "eCONF_DATA_CONNECT_DISABLED"};
    EXPECT_EQ(describe(opts), describe(expected));
}

TEST_F(cConfigReaderTest, EmptyFile_LogsEveryKeyThatLogsItsDefault) {
    read("");
    const std::vector<std::string> expected = {
        "Config " + path + " MD5 changed from: '' to 'd41d8cd98f00b204e9800998ecf8427e'",
        "Reading config file " + path,
        "Config option CM_ENABLE_INTERFACE is '', disabling WAN interface",
        "Note: APN is empty",
        "Error:  The APN '' is not valid",
        "Note: APN is empty",
        "Error:  The APN '' is not valid",
        "Config option CM_SYNC_TIME unknown value '', allowing time sync (default)",
        "Config Network Preference not set, ignoring",
        "Config option CM_DATA_SPEED empty, ignoring",
        "Config option CM_ROAMING unknown value '', allowing roaming (default)",
        "Config option CM_DEFAULTROUTE is '' (enabled)",
        "Config option CM_USERNAME is empty, ignoring",
        "Config option CM_AUTH_TYPE missing, Disabling",
        "Error: The config entry CM_FW_SLOT= is not valid,setting to Auto",
        "Config option CM_USE_DNS not set, enabling using DNS by default",
        "Config option CM_MTU not set, defaulting to 1500",
        "Config option CM_OPERATOR_MODE is missing, Operator Selection set to Auto Mode",
        "Config option CM_BAND_MODE value '' is invalid, Band Selection set to Auto Mode",
        "Config option CM_SIM_SLOT= is invalid, defaulting to SIM Slot 1",
        "Gps enabled (default)",
        "Config option CM_PTP_INT is off, PtP interface setup disabled",
        "Config option CM_IPFAMILY default to IPv4v6",
    };
    EXPECT_EQ(capturedLog(), expected);
}

TEST_F(cConfigReaderTest, EmptyValues_GiveTheSameAsMissingKeys) {
    std::string content;
    for (const sConfigKey& key : configKeys()) {
        content += std::string(key.name) + "=\n";
    }
    read("");
    const sConfigFileOpts missing = opts;
    read(content);
    opts.md5 = missing.md5;
    EXPECT_EQ(describe(opts), describe(missing));
}

TEST_F(cConfigReaderTest, ValueFromAnEarlierFile_DoesNotSurviveTheNext) {
    read(FULL_FILE);
    read("CM_APN=other\n");
    EXPECT_EQ(opts.apn, "other");
    EXPECT_EQ(opts.username, "");
    EXPECT_EQ(opts.netPref, eNET_PREF_IGNORE);
    EXPECT_EQ(opts.band4gBits, 0U);
    EXPECT_EQ(opts.mtu, 1500);
}

// Digest

TEST_F(cConfigReaderTest, SameContentAgain_ChangesNothing) {
    ASSERT_EQ(read(FULL_FILE), eCONFIG_APPLIED);
    sConfigFileOpts changed = changedRecord();
    changed.md5 = opts.md5;
    opts = changed;
    EXPECT_EQ(read(FULL_FILE), eCONFIG_UNCHANGED);
    EXPECT_EQ(describe(opts), describe(changed));
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"Config file updated, but MD5 did not change: '" +
                                       getMd5(FULL_FILE) + "'"});
}

TEST_F(cConfigReaderTest, ChangedContent_IsLoggedWithBothDigests) {
    read("CM_APN=a\n");
    EXPECT_EQ(read("CM_APN=b\n"), eCONFIG_APPLIED);
    EXPECT_EQ(capturedLog().at(0), "Config " + path + " MD5 changed from: '" +
                                       getMd5("CM_APN=a\n") + "' to '" + getMd5("CM_APN=b\n") +
                                       "'");
    EXPECT_EQ(opts.apn, "b");
}

TEST_F(cConfigReaderTest, MissingFile_RestoresDefaultsAndKeepsTheDigest) {
    opts = changedRecord();
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_MISSING);
    EXPECT_EQ(describe(opts), DEFAULTS);
    EXPECT_EQ(logCount("Config file " + path + " is missing or not accessible, using defaults"),
              1U);
}

TEST_F(cConfigReaderTest, FileRemovedAndRestored_IsNotAppliedAgain) {
    read(FULL_FILE);
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_MISSING);
    EXPECT_EQ(opts.apn, "");
    EXPECT_EQ(opts.simSlot, 0);
    EXPECT_EQ(opts.md5, getMd5(FULL_FILE));
    EXPECT_EQ(read(FULL_FILE), eCONFIG_UNCHANGED);
    EXPECT_EQ(opts.apn, "");
    EXPECT_EQ(opts.simSlot, 0);
}

TEST_F(cConfigReaderTest, LargestFile_IsRead) {
    std::string content = "CM_APN=internet\n#";
    content.resize(LARGEST_FILE - 1, 'x');
    content += '\n';
    EXPECT_EQ(read(content), eCONFIG_APPLIED);
    EXPECT_EQ(opts.apn, "internet");
    EXPECT_EQ(opts.md5, getMd5(content));
}

TEST_F(cConfigReaderTest, FileOneByteTooLong_CountsAsMissing) {
    std::string content = "CM_APN=internet\n#";
    content.resize(LARGEST_FILE + 1, 'x');
    EXPECT_EQ(read(content), eCONFIG_MISSING);
    EXPECT_EQ(opts.apn, "");
    EXPECT_EQ(opts.md5, "");
    EXPECT_TRUE(logContains("is missing or not accessible, using defaults"));
}

TEST_F(cConfigReaderTest, FolderOrFifoInPlaceOfTheFile_CountsAsMissing) {
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_MISSING);
    ASSERT_EQ(rmdir(path.c_str()), 0);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_MISSING);
}

// A file that is changed while it is read

namespace {

// Runs an action right after a table was built.
class cDisturbedReader : public cConfigReader {
  public:
    std::vector<std::function<void()>> disturbances;

  protected:
    cTextLookupTable loadTable() override {
        cTextLookupTable table = cConfigReader::loadTable();
        if (!disturbances.empty()) {
            disturbances.front()();
            disturbances.erase(disturbances.begin());
        }
        return table;
    }
};

struct cDisturbedRead : testing::Test {
    cDisturbedRead() {
        reader.init(path, 0);
        writeFile(path, "CM_APN=first\n");
        clearCapturedLog();
    }

    cTempFolder folder;
    const std::string path = folder / "cellular1.conf";
    cDisturbedReader reader;
    sConfigFileOpts opts;
};

}  // namespace

TEST_F(cDisturbedRead, FileChangedMeanwhile_IsReadAgain) {
    reader.disturbances = {[&] { writeFile(path, "CM_APN=second\n"); }};
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_APPLIED);
    EXPECT_EQ(opts.apn, "second");
    EXPECT_EQ(opts.md5, getMd5("CM_APN=second\n"));
    EXPECT_TRUE(opts.configRead);
    EXPECT_EQ(logCount("Config " + path + " MD5 changed from: '" + getMd5("CM_APN=first\n") +
                       "' to '" + getMd5("CM_APN=second\n") + "'"),
              1U);
}

TEST_F(cDisturbedRead, FileRemovedMeanwhile_CountsAsMissingAndIsReadWhenItComesBack) {
    reader.disturbances = {[&] { unlink(path.c_str()); }};
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_MISSING);
    EXPECT_EQ(opts.apn, "");
    EXPECT_FALSE(opts.configRead);
    EXPECT_EQ(opts.md5, "");
    writeFile(path, "CM_APN=first\n");
    EXPECT_EQ(reader.readConfig(opts), eCONFIG_APPLIED);
    EXPECT_EQ(opts.apn, "first");
}

// Keys that depend on each other

TEST_F(cConfigReaderTest, AutomaticBands_LeaveTheBandKeysUnread) {
    read("CM_BAND_MODE=auto\nCM_3G_BAND=2\nCM_4G_BAND=B3\n");
    EXPECT_EQ(opts.bandMode, eBAND_MODE_AUTO);
    EXPECT_EQ(opts.band3gText, "");
    EXPECT_EQ(opts.band4gText, "");
    EXPECT_FALSE(logContains("CM_3G_BAND"));
    EXPECT_FALSE(logContains("CM_4G_BAND"));
    EXPECT_FALSE(logContains("3G/4G options"));
}

TEST_F(cConfigReaderTest, ManualBandsWithOneListMissing_FallBackToAutomatic) {
    const std::string error =
        "Error: Config option CM_BAND_MODE set to Auto Mode, 3G/4G options are not valid";
    for (const std::string bands :
         {"CM_4G_BAND=B3\n", "CM_3G_BAND=2\n", "", "CM_3G_BAND=9\nCM_4G_BAND=B3\n",
          "CM_3G_BAND=07\nCM_4G_BAND=B3\n", "CM_3G_BAND=2\nCM_4G_BAND=B40\n"}) {
        read("CM_BAND_MODE=manual\n" + bands);
        EXPECT_EQ(opts.bandMode, eBAND_MODE_AUTO) << bands;
        EXPECT_EQ(opts.band3gText, "") << bands;
        EXPECT_EQ(opts.band4gText, "") << bands;
        EXPECT_EQ(opts.band3gBits, 0U) << bands;
        EXPECT_EQ(opts.band4gBits, 0U) << bands;
        EXPECT_EQ(logCount(error), 1U) << bands;
    }
}

TEST_F(cConfigReaderTest, BandListWithABadEntry_KeepsTheBitsBeforeItAndNoText) {
    read("CM_BAND_MODE=Man ual\nCM_3G_BAND=2\nCM_4G_BAND=B3,B40\n");
    EXPECT_EQ(opts.bandMode, eBAND_MODE_MANUAL);
    EXPECT_EQ(opts.band3gText, "2");
    EXPECT_EQ(opts.band4gText, "");
    EXPECT_EQ(opts.band4gBits, 4U);
    EXPECT_EQ(logCount("Config band options for 3G/4G options are valid"), 1U);
}

TEST_F(cConfigReaderTest, OperatorWithoutManualMode_IsIgnored) {
    read("CM_OPERATOR=26201\n");
    EXPECT_EQ(opts.operatorMode, "0");
    EXPECT_EQ(opts.operatorName, "");
    EXPECT_FALSE(logContains("Config option CM_OPERATOR is"));
}

TEST_F(cConfigReaderTest, UsernameAlone_IsKeptAndSelectsChap) {
    read("CM_USERNAME=user\n");
    EXPECT_EQ(opts.username, "user");
    EXPECT_EQ(opts.password, "");
    EXPECT_EQ(opts.authType, ePDP_AUTH_CHAP);
}

TEST_F(cConfigReaderTest, AuthTypeOff_DependsOnCredentials) {
    read("CM_USERNAME=user\nCM_PASSWORD=pw\nCM_AUTH_TYPE=off\n");
    EXPECT_EQ(opts.authType, ePDP_AUTH_NOT_USED);
    read("CM_AUTH_TYPE=OFF\n");
    EXPECT_EQ(opts.authType, ePDP_AUTH_OFF);
}

TEST_F(cConfigReaderTest, PasswordAlone_IsNotUsed) {
    read("CM_PASSWORD=secret\n");
    EXPECT_EQ(opts.password, "");
    EXPECT_EQ(opts.authType, ePDP_AUTH_NOT_USED);
    EXPECT_FALSE(logContains("secret"));
}

TEST_F(cConfigReaderTest, TooLongUsername_ClearsThePasswordToo) {
    read("CM_USERNAME=" + std::string(64, 'u') + "\nCM_PASSWORD=secret\n");
    EXPECT_EQ(opts.username, "");
    EXPECT_EQ(opts.password, "");
    EXPECT_EQ(logCount("Config option CM_USERNAME is empty, not using CM_PASSWORD"), 1U);
}

TEST_F(cConfigReaderTest, ApnWithCapitalsAndBlanks_IsStoredAsWritten) {
    read("CM_APN=  Internet.Example \n");
    EXPECT_EQ(opts.apn, "  Internet.Example ");
}

TEST_F(cConfigReaderTest, ParsedFile_NeverLeavesSimSlot0) {
    for (const std::string value : {"", "0", "3", "x", "1", "2"}) {
        read("CM_SIM_SLOT=" + value + "\n");
        EXPECT_EQ(opts.simSlot, value == "2" ? 2 : 1) << value;
    }
}

TEST_F(cConfigReaderTest, TrimmedKeys_AcceptAnyCaseAndBlanks) {
    read("CM_ENABLE_INTERFACE =  YES \nCM_DATA_SPEED=\tAuto\t\nCM_SIM_SLOT= 2\n");
    EXPECT_EQ(opts.enableInterface, 1);
    EXPECT_EQ(opts.netPref, eNET_PREF_AUTO);
    EXPECT_EQ(opts.netPrefText, "auto");
    EXPECT_EQ(opts.simSlot, 2);
}

// Debug mode

TEST_F(cConfigReaderTest, DebugModeInTheFile_AppliesFromThenOn) {
    read("DEBUG_MODE=0x80\n");
    EXPECT_EQ(opts.debugMode, 0x80U);
    EXPECT_EQ(g_i_debugMode, 0x80U);
    EXPECT_TRUE(logContains("DEBUG: Entering getConfigOptionIpFamily()"));
    EXPECT_FALSE(logContains("Entering readConfig()"));
}

TEST_F(cConfigReaderTest, NoDebugMode_EndsThatOfTheCommandLine) {
    g_i_debugMode = 0xff;
    reader.init(path, 0xff);
    read("CM_APN=internet\n");
    EXPECT_EQ(g_i_debugMode, 0U);
    EXPECT_EQ(opts.debugMode, 0U);
    EXPECT_EQ(logCount("DEBUG: Entering readConfig()"), 1U);
    EXPECT_EQ(logCount("DEBUG: readConfig(): Passing file '" + path + "' to cTextLookupTable"), 1U);
    EXPECT_EQ(logCount("DEBUG: Entering resetConfigValues()"), 1U);
    EXPECT_FALSE(logContains("Entering getConfigOptionApn"));
}
