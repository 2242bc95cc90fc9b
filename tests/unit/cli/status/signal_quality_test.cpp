#include "cli/status/signal_quality.h"

#include <gtest/gtest.h>

namespace {

sSignalReading signalOf(const std::map<std::string, std::string>& values) {
    return readSignal(sStatusRecord{values});
}

struct sQualityCase {
    const char* key;
    const char* value;
    eSignalQuality quality;
};

}  // namespace

TEST(SignalQuality, Limits_SeparateGoodFairAndPoor) {
    const sQualityCase cases[] = {
        {"CURRENT_RSRP", "-95", eSignalQuality::GOOD},
        {"CURRENT_RSRP", "-96", eSignalQuality::FAIR},
        {"CURRENT_RSRP", "-110", eSignalQuality::FAIR},
        {"CURRENT_RSRP", "-110.5", eSignalQuality::POOR},
        {"CURRENT_RSCP", "-85", eSignalQuality::GOOD},
        {"CURRENT_RSCP", "-86", eSignalQuality::FAIR},
        {"CURRENT_RSCP", "-101", eSignalQuality::POOR},
        {"CURRENT_RSSI", "-75", eSignalQuality::GOOD},
        {"CURRENT_RSSI", "-76", eSignalQuality::FAIR},
        {"CURRENT_RSSI", "-91", eSignalQuality::POOR},
    };
    for (const sQualityCase& row : cases)
        EXPECT_EQ(signalOf({{row.key, row.value}}).quality, row.quality) << row.key << row.value;
}

TEST(SignalQuality, PoorQuality_LowersAStrongSignal) {
    const sSignalReading fair = signalOf({{"CURRENT_RSRP", "-80"}, {"CURRENT_RSRQ", "-11"}});
    EXPECT_EQ(fair.quality, eSignalQuality::FAIR);
    EXPECT_TRUE(fair.isDisturbed);
    EXPECT_EQ(fair.strengthPercent, 90);
    EXPECT_EQ(signalOf({{"CURRENT_RSRP", "-80"}, {"CURRENT_RSRQ", "-16"}}).quality,
              eSignalQuality::POOR);
    EXPECT_EQ(signalOf({{"CURRENT_RSCP", "-70"}, {"CURRENT_ECIO", "-12.5"}}).quality,
              eSignalQuality::POOR);
    // Strength decides if it is the worse value.
    const sSignalReading poor = signalOf({{"CURRENT_RSRP", "-120"}, {"CURRENT_RSRQ", "-5"}});
    EXPECT_EQ(poor.quality, eSignalQuality::POOR);
    EXPECT_FALSE(poor.isDisturbed);
}

TEST(SignalQuality, OnlyCsq_BecomesRssi) {
    EXPECT_EQ(signalOf({{"CURRENT_CSQ", "17"}}).rssiDbm, -79);
    EXPECT_EQ(signalOf({{"CURRENT_CSQ", "99"}}).quality, eSignalQuality::UNKNOWN);
    EXPECT_EQ(signalOf({{"CURRENT_CSQ", "32"}}).quality, eSignalQuality::UNKNOWN);
    EXPECT_EQ(signalOf({{"CURRENT_CSQ", "17"}, {"CURRENT_RSSI", "-68"}}).rssiDbm, -68);
}

TEST(SignalQuality, NonsenseOfTheModem_IsUnknown) {
    for (const char* value : {"", "-", "9999", "-1e300", "nan", "x"}) {
        const sSignalReading signal = signalOf({{"CURRENT_RSRP", value}});
        EXPECT_EQ(signal.quality, eSignalQuality::UNKNOWN) << value;
        EXPECT_EQ(signalFigures(signal), "") << value;
    }
}

TEST(SignalBar, Strength_FillsTheBar) {
    EXPECT_EQ(signalBar(signalOf({{"CURRENT_RSRP", "-140"}}), 10), "[----------]");
    EXPECT_EQ(signalBar(signalOf({{"CURRENT_RSRP", "-100"}}), 10), "[#####-----]");
    EXPECT_EQ(signalBar(signalOf({{"CURRENT_RSRP", "-44"}}), 10), "[##########]");
}
