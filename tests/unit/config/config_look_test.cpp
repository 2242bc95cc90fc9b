#include "config/config_look.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "published/paths.h"
#include "tests/support/temp_folder.h"

namespace {

struct cConfigLook : testing::Test {
    cTempFolder folder;
    const std::string path = folder / "look";
};

}  // namespace

TEST_F(cConfigLook, Path_ContainsTheSlot) {
    EXPECT_EQ(configLookPath("2"), "/var/run/cellslotd.2.config");
}

TEST_F(cConfigLook, EveryResult_IsReadAsItWasPublished) {
    for (const eConfigResult result : {eCONFIG_MISSING, eCONFIG_UNCHANGED, eCONFIG_APPLIED}) {
        publishConfigLook(path, {42, 7, result, "/etc/vuk/cellular1.conf", -1, false});
        const sConfigLook look = readConfigLook(path);
        EXPECT_EQ(look.pid, 42);
        EXPECT_EQ(look.count, 7u);
        EXPECT_EQ(look.result, result);
        EXPECT_EQ(look.file, "/etc/vuk/cellular1.conf");
        EXPECT_EQ(look.enableInterface, -1);
        EXPECT_FALSE(look.roamingAllowed);
    }
    EXPECT_EQ(readFile(path),
              "PID=42\nCOUNT=7\nRESULT=applied\nFILE=/etc/vuk/cellular1.conf\nINTERFACE=-1\n"
              "ROAMING=0\n");
}

TEST_F(cConfigLook, OlderDaemon_SaysNothingAboutTheInterface) {
    writeFile(path, "PID=42\nCOUNT=7\nRESULT=applied\nFILE=/x\n");
    EXPECT_EQ(readConfigLook(path).pid, 42);
    EXPECT_FALSE(readConfigLook(path).enableInterface);
    EXPECT_TRUE(readConfigLook(path).roamingAllowed);
}

TEST_F(cConfigLook, MissingOrForeignFile_GivesNoPid) {
    EXPECT_EQ(readConfigLook(path).pid, 0);
    for (const char* text : {"", "PID=42\n", "PID=42\nRESULT=else\nCOUNT=1\n", "\xff\n"}) {
        writeFile(path, text);
        EXPECT_EQ(readConfigLook(path).pid, 0) << text;
    }
    unlink(path.c_str());
    ASSERT_EQ(symlink((folder / "nothing").c_str(), path.c_str()), 0);
    EXPECT_EQ(readConfigLook(path).pid, 0);
}

TEST_F(cConfigLook, LinkInPlaceOfTheFile_IsReplaced) {
    const std::string precious = folder / "precious";
    writeFile(precious, "kept");
    ASSERT_EQ(symlink(precious.c_str(), path.c_str()), 0);
    publishConfigLook(path, {42, 1, eCONFIG_APPLIED, "/x", 1, true});
    EXPECT_EQ(readFile(precious), "kept");
    EXPECT_EQ(readConfigLook(path).pid, 42);
}
