#include <filesystem>

#include "include/repeated_notices.h"
#include "statemachine/modem_control.h"
#include "tests/support/flow_fixture.h"

// Another program requests a firmware update by a file in a folder that every user can write to.

namespace {

const std::string FOLDER = "/tmp/cellmodem_firmware";
const std::string TRIGGER = FOLDER + "/start_update.1";

class FirmwareTrigger : public cFlowFixture {
  protected:
    FirmwareTrigger() { std::filesystem::remove_all(FOLDER); }

    static void makeFile(const std::string& path) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        writeFile(path, "");
    }
};

}  // namespace

TEST_F(FirmwareTrigger, IsConsumed) {
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    EXPECT_FALSE(fileExists(FOLDER));
    makeFile(TRIGGER);
    EXPECT_TRUE(checkFirmwareUpdate("/tmp"));
    EXPECT_FALSE(fileExists(TRIGGER));
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
}

TEST_F(FirmwareTrigger, OfAnotherSlot_IsLeftAlone) {
    makeFile(FOLDER + "/start_update.2");
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    EXPECT_TRUE(fileExists(FOLDER + "/start_update.2"));
}

TEST_F(FirmwareTrigger, FolderThatIsALink_IsNotFollowed) {
    makeFile("/tmp/outside/start_update.1");
    std::filesystem::create_symlink("outside", FOLDER);
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    EXPECT_TRUE(fileExists("/tmp/outside/start_update.1"));
}

// Every pass checks for the file.
TEST_F(FirmwareTrigger, InALinkedFolder_IsReportedOnceAndAgainAfterItWasRemoved) {
    const std::string report =
        "Error: " + TRIGGER +
        " is not followed, since its folder is a link: make it a folder, or remove it";
    std::filesystem::create_directories("/tmp/outside");
    std::filesystem::create_symlink("outside", FOLDER);
    const auto look = [] {
        const cRepeatedRun pass(eWORK_PASS);
        EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    };
    look();
    EXPECT_EQ(logCount(report), 0u) << "nobody asks for an update";
    for (const size_t times : {1u, 2u}) {
        makeFile("/tmp/outside/start_update.1");
        for (int pass = 0; pass < 3; ++pass)
            look();
        EXPECT_EQ(logCount(report), times);
        std::filesystem::remove("/tmp/outside/start_update.1");
        look();
    }
}

TEST_F(FirmwareTrigger, InALinkedFolder_CountsOnceTheFolderIsNoLink) {
    makeFile("/tmp/outside/start_update.1");
    std::filesystem::create_symlink("outside", FOLDER);
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    std::filesystem::remove(FOLDER);
    makeFile(TRIGGER);
    EXPECT_TRUE(checkFirmwareUpdate("/tmp"));
}

TEST_F(FirmwareTrigger, ThatIsALink_IsDeletedItself) {
    makeFile("/tmp/target");
    std::filesystem::create_directories(FOLDER);
    std::filesystem::create_symlink("../target", TRIGGER);
    EXPECT_TRUE(checkFirmwareUpdate("/tmp"));
    EXPECT_FALSE(checkFirmwareUpdate("/tmp"));
    EXPECT_TRUE(fileExists("/tmp/target"));
}

TEST_F(FirmwareTrigger, ThatCannotBeDeleted_CountsAndIsLogged) {
    std::filesystem::create_directories(TRIGGER + "/full");
    EXPECT_TRUE(checkFirmwareUpdate("/tmp"));
    EXPECT_TRUE(logContains("Cannot delete /tmp/cellmodem_firmware/start_update.1, errno 39"));
}
