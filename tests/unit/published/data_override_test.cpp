#include "published/data_override.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/temp_folder.h"

namespace {

constexpr eDataOverride FILES[] = {eDataOverride::ON, eDataOverride::OFF, eDataOverride::POWER_OFF};

}  // namespace

TEST(DataOverrideRule, Files_AreThoseThatOtherProgramsMake) {
    EXPECT_EQ(overrideFilePath(eDataOverride::ON, 2), "/tmp/force_cell_con.2");
    EXPECT_EQ(overrideFilePath(eDataOverride::OFF, 2), "/tmp/force_cell_nocon.2");
    EXPECT_EQ(overrideFilePath(eDataOverride::POWER_OFF, 2), "/tmp/force_cell_tempoff.2");
    EXPECT_EQ(overrideFilePath(eDataOverride::AUTO, 2), "");
}

TEST(DataOverrideRule, FirstOfOnOffPowerOff_Counts) {
    for (unsigned present = 0; present < 8; ++present) {
        const cTempFolder folder;
        eDataOverride expected = eDataOverride::AUTO;
        for (int bit = 2; bit >= 0; --bit) {
            if ((present >> bit & 1) == 0) continue;
            expected = FILES[bit];
            writeFile(overrideFileIn(folder.path(), expected, 2), "");
        }
        EXPECT_EQ(findOverride(folder.path(), 2), expected) << present;
        EXPECT_EQ(findOverride(folder.path(), 1), eDataOverride::AUTO) << present;
    }
}

TEST(DataOverrideRule, FolderCounts_LinkThatLeadsNowhereDoesNot) {
    const cTempFolder folder;
    const std::string link = overrideFileIn(folder.path(), eDataOverride::ON, 1);
    ASSERT_EQ(0, symlink("/nowhere/at/all", link.c_str()));
    EXPECT_EQ(findOverride(folder.path(), 1), eDataOverride::AUTO);
    ASSERT_EQ(0, mkdir((folder / "force_cell_tempoff.1").c_str(), 0700));
    EXPECT_EQ(findOverride(folder.path(), 1), eDataOverride::POWER_OFF);
}

TEST(DataOverrideRule, EachOverride_CountsMoreThanTheConfiguration) {
    struct sCase {
        eDataOverride value;
        int enableInterface;
        eCfgDataStatus wanted;
        bool waits;
    };
    const sCase cases[] = {
        {eDataOverride::AUTO, 0, eCONF_DATA_CONNECT_DISABLED, false},
        {eDataOverride::AUTO, 1, eCONF_DATA_CONNECT_ENABLED, true},
        {eDataOverride::AUTO, -1, eCONF_DATA_CONNECT_MODEM_OFF, false},
    };
    for (const sCase& test : cases) {
        EXPECT_EQ(wantedData(test.value, test.enableInterface), test.wanted);
        EXPECT_EQ(waitsForBoot(test.wanted), test.waits);
    }
    for (const int enableInterface : {-1, 0, 1}) {
        EXPECT_EQ(wantedData(eDataOverride::ON, enableInterface), eCONF_DATA_CONNECT_TEMP_ENABLED);
        EXPECT_EQ(wantedData(eDataOverride::OFF, enableInterface),
                  eCONF_DATA_CONNECT_TEMP_DISABLED);
        EXPECT_EQ(wantedData(eDataOverride::POWER_OFF, enableInterface),
                  eCONF_DATA_CONNECT_TEMP_MODEM_OFF);
    }
    EXPECT_TRUE(waitsForBoot(eCONF_DATA_CONNECT_TEMP_ENABLED));
    EXPECT_FALSE(waitsForBoot(eCONF_DATA_CONNECT_TEMP_DISABLED));
    EXPECT_FALSE(waitsForBoot(eCONF_DATA_CONNECT_TEMP_MODEM_OFF));
}
