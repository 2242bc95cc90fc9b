#include "config/band_tables.h"
#include "tests/unit/config/config_reader_options_fixture.h"

// CM_BAND_MODE, CM_3G_BAND and CM_4G_BAND.

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
