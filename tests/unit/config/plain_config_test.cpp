#include "config/plain_config.h"

#include <gtest/gtest.h>

#include "tests/support/temp_folder.h"

TEST(PlainConfig, KeysOfTheFile_ComeWithoutSecretsAndWithoutUnknownKeys) {
    const cTempFolder folder;
    writeFile(folder / "conf",
              "CM_PASSWORD=a\nCM_USERNAME=b\nCM_PASWORD=c\nCM_MTU=1400\nCM_APN= net \n");
    const std::vector<std::pair<std::string, std::string>> expected = {{"CM_APN", " net "},
                                                                       {"CM_MTU", "1400"}};
    EXPECT_EQ(plainConfigValues(folder / "conf"), expected);
}

TEST(PlainConfig, MissingFile_HasNoKeys) {
    const cTempFolder folder;
    EXPECT_TRUE(plainConfigValues(folder / "none").empty());
}
