#include "platform/include/key_value_store.h"
#include "tests/unit/gps/fixture.h"

namespace {

class GpsStore : public cGpsFixture {
  protected:
    void SetUp() override {
        cGpsFixture::SetUp();
        initOn("/none");
    }
};

}  // namespace

TEST_F(GpsStore, NothingStored_Defaults) {
    EXPECT_EQ(gps.getSkvsEnableCount(), 0);
    EXPECT_EQ(gps.getSkvsEnabled(), eSKVS_GPS_NOT_ENABLED);
    EXPECT_EQ(gps.getSkvsStream(), eSKVS_STREAM_STOPPED);
}

TEST_F(GpsStore, SetAndRead) {
    EXPECT_EQ(gps.setSkvsEnableCount(2), eSUCCESS);
    EXPECT_EQ(gps.setSkvsEnabled(eSKVS_GPS_ENABLED), eSUCCESS);
    EXPECT_EQ(gps.setSkvsChipset("GSW3.5.0"), eSUCCESS);
    EXPECT_EQ(gps.setSkvsStream(eSKVS_STREAM_NOT_STARTED), eSUCCESS);
    EXPECT_EQ(writes(), (tEntries{{"_GPS_ENABLE_COUNT", "2"},
                                  {"_GPS_ENABLE", "1"},
                                  {"_GPS_CHIPSET", "GSW3.5.0"},
                                  {"_GPS_STREAM", "-1"}}));
    EXPECT_EQ(gps.getSkvsEnableCount(), 2);
    EXPECT_EQ(gps.getSkvsEnabled(), eSKVS_GPS_ENABLED);
    EXPECT_EQ(gps.getSkvsStream(), eSKVS_STREAM_NOT_STARTED);
    EXPECT_EQ(gps.clearSkvsEnabled(), eSUCCESS);
    EXPECT_EQ(gps.getSkvsEnabled(), eSKVS_GPS_CLEARED);
    EXPECT_EQ(storedValue("_GPS_ENABLE"), "0");
}

TEST_F(GpsStore, EntryOfAnotherSlot_IsIgnored) {
    gps.setSkvsEnableCount(2);
    gps.init("/none", "3");
    EXPECT_EQ(gps.getSkvsEnableCount(), 0);
}

// Four characters are read.
TEST_F(GpsStore, InvalidValues_GiveDefaults) {
    struct sCase {
        const char* value;
        int count;
        int enabled;
        int stream;
    };
    const std::vector<sCase> cases = {
        {"", 0, -1, 0},      {"0", 0, 0, 0},
        {"1", 1, 1, 1},      {"-1", 0, -1, -1},
        {"3", 3, -1, 0},     {"+1", 1, 1, 1},
        {"4", 0, -1, 0},     {"12345", 0, -1, 0},
        {"00012", 1, 1, 1},  {"-2", 0, -1, 0},
        {"-9999", 0, -1, 0}, {"abc", 0, -1, 0},
        {"1x", 0, -1, 0},    {" 1", 0, -1, 0},
        {"-", 0, -1, 0},     {"99999999999999999999", 0, -1, 0},
    };
    for (const sCase& test : cases) {
        SCOPED_TRACE(test.value);
        for (const char* name : {"_GPS_ENABLE_COUNT", "_GPS_ENABLE", "_GPS_STREAM"})
            storeValue(name, test.value);
        EXPECT_EQ(gps.getSkvsEnableCount(), test.count);
        EXPECT_EQ(gps.getSkvsEnabled(), test.enabled);
        EXPECT_EQ(gps.getSkvsStream(), test.stream);
    }
}

TEST_F(GpsStore, CheckCount_CountsToThree) {
    for (int count = 1; count <= 3; ++count) {
        EXPECT_EQ(gps.checkSkvsEnableCount(), eERROR_DEVICE_GPS_OK_TO_ENABLE);
        EXPECT_EQ(gps.getSkvsEnableCount(), count);
    }
    writes();
    EXPECT_EQ(gps.checkSkvsEnableCount(), eERROR_DEVICE_GPS_ENABLE_MAX_COUNT);
    EXPECT_EQ(writes(), tEntries());
    EXPECT_EQ(logCount("GPS chipset Enable attempted 3 times, aborting"), 1U);
}

// An impossible count must not keep the receiver off forever.
TEST_F(GpsStore, CheckCountBeyondItsLimit_CountsFromZero) {
    storeValue("_GPS_ENABLE_COUNT", "250");
    EXPECT_EQ(gps.checkSkvsEnableCount(), eERROR_DEVICE_GPS_OK_TO_ENABLE);
    EXPECT_EQ(gps.getSkvsEnableCount(), 1);
}

TEST_F(GpsStore, StoreThatFails_IsLoggedWithItsKey) {
    s_failingKeys = {"_GPS_CHIPSET", "_GPS_STREAM", "_GPS_ENABLE", "_GPS_ENABLE_COUNT"};
    EXPECT_EQ(gps.setSkvsChipset("x"), eERROR_DEVICE_GPS_SET_SKVS_FAILURE);
    EXPECT_EQ(gps.setSkvsStream(eSKVS_STREAM_STARTED), eERROR_DEVICE_GPS_SET_SKVS_FAILURE);
    EXPECT_EQ(gps.setSkvsEnabled(eSKVS_GPS_ENABLED), eERROR_DEVICE_GPS_SET_SKVS_FAILURE);
    EXPECT_EQ(gps.setSkvsEnableCount(1), eERROR_DEVICE_GPS_SET_SKVS_FAILURE);
    EXPECT_EQ(logCount("Error: Cannot store CELLULAR_SLOT2_GPS_ENABLE_COUNT"), 1U);
}

TEST_F(GpsStore, StoreThatCannotBeRead_Defaults) {
    storeValue("_GPS_ENABLE_COUNT", "3");
    setKeyValueStorePath("/dev/null/none");
    EXPECT_EQ(gps.getSkvsEnableCount(), 0);
    EXPECT_EQ(gps.getSkvsEnabled(), eSKVS_GPS_NOT_ENABLED);
}
