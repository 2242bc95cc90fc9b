#include "cli/base/settings_file.h"

#include <gtest/gtest.h>

#include "cli/base/failure.h"
#include "tests/support/temp_folder.h"

TEST(SettingsFile, LinesAreNumberedAndCleaned) {
    const std::vector<sSetting> settings =
        parseSettings("# comment\n\n A = b=c \r\nEMPTY=\nLAST=1", "/etc/x.conf");
    ASSERT_EQ(settings.size(), 3u);
    EXPECT_EQ(settings[0].line, 3);
    EXPECT_EQ(settings[0].name, "A");
    EXPECT_EQ(settings[0].value, "b=c");
    EXPECT_EQ(settings[1].value, "");
    EXPECT_EQ(settings[2].line, 5);
}

TEST(SettingsFile, LineWithoutEquals_IsNamed) {
    try {
        parseSettings("A=1\nnonsense\x1b[2J", "/etc/x.conf");
        FAIL() << "not refused";
    } catch (const cFailure& failure) {
        EXPECT_STREQ(failure.what(),
                     "/etc/x.conf line 2: 'nonsense?[2J' has no '='; expected KEY=value");
    }
}

TEST(SettingsFile, MissingFile_IsEmptyAndOthersAreRefused) {
    const cTempFolder root;
    EXPECT_TRUE(readSettings({root.path()}, "/none").empty());
    writeFile(root / "long", std::string(SETTINGS_FILE_MAX + 1, '#'));
    EXPECT_THROW(readSettings({root.path()}, "/long"), cFailure);
    EXPECT_THROW(readSettings({root.path()}, "/"), cFailure);
}
