#include "config/config_keys.h"

#include <set>
#include <sstream>

#include "tests/unit/config/config_reader_fixture.h"

// The list of keys, and the documents that list them.

namespace {

std::string document(const std::string& name) {
    return readFile(std::string(DOCS_FOLDER) + "/" + name);
}

// The example with its commented settings switched on, as its own text explains.
std::vector<std::string> exampleSettings() {
    std::istringstream lines(document("cellslot.conf.example"));
    std::vector<std::string> settings;
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, 1, "#") == 0 && line.compare(0, 2, "# ") != 0) line.erase(0, 1);
        if (line.find('=') != std::string::npos && line[0] != '#') settings.push_back(line);
    }
    return settings;
}

}  // namespace

TEST(ConfigKeys, Names_AreUniqueAndInReadingOrder) {
    const std::vector<std::string> expected = {"DEBUG_MODE",       "CM_ENABLE_INTERFACE",
                                               "CM_APN",           "CM_APN2",
                                               "CM_SYNC_TIME",     "CM_DATA_SPEED",
                                               "CM_ROAMING",       "CM_DEFAULTROUTE",
                                               "CM_USERNAME",      "CM_PASSWORD",
                                               "CM_AUTH_TYPE",     "CM_FW_SLOT",
                                               "CM_USE_DNS",       "CM_MTU",
                                               "CM_OPERATOR_MODE", "CM_OPERATOR",
                                               "CM_BAND_MODE",     "CM_3G_BAND",
                                               "CM_4G_BAND",       "CM_SIM_SLOT",
                                               "CM_GPS_ENABLE",    "CM_PTP_INT",
                                               "CM_IPFAMILY"};
    std::vector<std::string> names;
    for (const sConfigKey& key : configKeys()) {
        names.emplace_back(key.name);
    }
    EXPECT_EQ(names, expected);
}

TEST(ConfigKeys, RawKeys_AreThoseSentToTheModemAsText) {
    const std::set<std::string> raw = {"CM_APN", "CM_APN2", "CM_USERNAME", "CM_PASSWORD",
                                       "CM_OPERATOR"};
    for (const sConfigKey& key : configKeys()) {
        EXPECT_EQ(key.read == eConfigRead::RAW, raw.count(key.name) == 1) << key.name;
    }
}

TEST_F(cConfigReaderTest, DefaultsOfTheKeyList_GiveWhatMissingKeysGive) {
    read("");
    const sConfigFileOpts missing = opts;
    for (const sConfigKey& key : configKeys()) {
        read(std::string(key.name) + "=" + key.defaultText + "\n");
        opts.md5 = missing.md5;
        EXPECT_EQ(describe(opts), describe(missing)) << key.name;
    }
}

TEST(ConfigDocuments, ExampleFile_HasEveryKeyOnceInOrder) {
    const std::vector<std::string> settings = exampleSettings();
    ASSERT_EQ(settings.size(), configKeys().size());
    for (size_t i = 0; i < settings.size(); ++i) {
        EXPECT_EQ(settings[i].substr(0, settings[i].find('=')), configKeys()[i].name);
    }
}

TEST_F(cConfigReaderTest, ExampleFile_IsAcceptedUnchangedAndWithSettingsSwitchedOn) {
    EXPECT_EQ(read(document("cellslot.conf.example")), eCONFIG_APPLIED);
    EXPECT_EQ(opts.enableInterface, 1);
    EXPECT_EQ(opts.apn, "internet");
    EXPECT_EQ(opts.simSlot, 1);

    std::string all;
    for (const std::string& setting : exampleSettings()) {
        all += setting + "\n";
    }
    EXPECT_EQ(read(all), eCONFIG_APPLIED);
    for (const char* complaint : {"invalid", "not valid", "unknown", "NOT supported", "ignor",
                                  "too long", "not a number", "missing"}) {
        EXPECT_FALSE(logContains(complaint)) << complaint;
    }
}

TEST(ConfigDocuments, Manual_HasARowForEveryKey) {
    const std::string manual = document("configuration.md");
    for (const sConfigKey& key : configKeys()) {
        EXPECT_NE(manual.find("| `" + std::string(key.name) + "` |"), std::string::npos)
            << key.name;
    }
}
