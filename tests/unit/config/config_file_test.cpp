#include "config/config_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/temp_folder.h"

struct cChooseConfigFile : testing::Test {
    cChooseConfigFile() { resetConfigFileChoice(); }
    ~cChooseConfigFile() override { resetConfigFileChoice(); }

    cTempFolder folder;
    const std::string slot1 = folder / "cellular1.conf";
    const std::string slot2 = folder / "cellular2.conf";
    const std::string old = folder / "cellmodem_ppp.conf";
};

TEST_F(cChooseConfigFile, NoDirectory_TakesTheSystemsFile) {
    EXPECT_EQ(chooseConfigFile("2", ""), "/etc/vuk/cellular2.conf");
    resetConfigFileChoice();
    EXPECT_EQ(chooseConfigFile("3", ""), "/etc/vuk/cellular3.conf");
    resetConfigFileChoice();
    EXPECT_EQ(chooseConfigFile("1", ""), fileExists("/etc/vuk/cellular1.conf")
                                             ? "/etc/vuk/cellular1.conf"
                                             : "/etc/zoq/wireless/cellmodem_ppp.conf");
}

TEST_F(cChooseConfigFile, DirectoryOfSlashesOnly_IsIgnored) {
    EXPECT_EQ(chooseConfigFile("2", "/"), "/etc/vuk/cellular2.conf");
    EXPECT_EQ(chooseConfigFile("2", "///"), "/etc/vuk/cellular2.conf");
}

TEST_F(cChooseConfigFile, SlotFileExists_IsUsed) {
    writeFile(slot1, "");
    writeFile(old, "");
    EXPECT_EQ(chooseConfigFile("1", folder.path()), slot1);
    resetConfigFileChoice();
    EXPECT_EQ(chooseConfigFile("1", folder.path() + "//"), slot1);
}

TEST_F(cChooseConfigFile, SlotOneWithoutItsFile_UsesTheOlderFile) {
    EXPECT_EQ(chooseConfigFile("1", folder.path()), old);
}

TEST_F(cChooseConfigFile, OtherSlotsWithoutTheirFile_NeverUseTheOlderFile) {
    writeFile(old, "");
    EXPECT_EQ(chooseConfigFile("2", folder.path()), slot2);
    EXPECT_EQ(chooseConfigFile("3", folder.path()), folder / "cellular3.conf");
    EXPECT_EQ(chooseConfigFile("01", folder.path()), folder / "cellular01.conf");
}

TEST_F(cChooseConfigFile, DanglingLink_CountsAsMissing) {
    ASSERT_EQ(symlink((folder / "nothing").c_str(), slot1.c_str()), 0);
    EXPECT_EQ(chooseConfigFile("1", folder.path()), old);
}

TEST_F(cChooseConfigFile, FileCreatedLater_IsNotPickedUp) {
    writeFile(old, "");
    EXPECT_EQ(chooseConfigFile("1", folder.path()), old);
    writeFile(slot1, "");
    EXPECT_EQ(chooseConfigFile("1", ""), old);
}

TEST_F(cChooseConfigFile, FirstCall_FixesTheSlot) {
    EXPECT_EQ(chooseConfigFile("2", ""), "/etc/vuk/cellular2.conf");
    EXPECT_EQ(chooseConfigFile("3", ""), "/etc/vuk/cellular2.conf");
}

TEST_F(cChooseConfigFile, LaterDirectory_ReplacesTheNamesPermanently) {
    EXPECT_EQ(chooseConfigFile("2", ""), "/etc/vuk/cellular2.conf");
    EXPECT_EQ(chooseConfigFile("2", folder.path()), slot2);
    EXPECT_EQ(chooseConfigFile("2", ""), slot2);
}
