#include "cli/base/data_override.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/unit/cli/empty_host.h"

namespace {

constexpr eDataOverride ALL[] = {eDataOverride::AUTO, eDataOverride::ON, eDataOverride::OFF,
                                 eDataOverride::POWER_OFF};

class DataOverride : public testing::Test {
  protected:
    std::string pathOf(eDataOverride value, int slot = 1) const {
        return host.places.at(overrideFilePath(value, slot));
    }

    cEmptyHost host;
};

}  // namespace

TEST_F(DataOverride, EachFromEveryStateThatFilesCanBeIn_LeavesItsOwnFileOnly) {
    for (const eDataOverride wanted : ALL) {
        for (unsigned present = 0; present < 8; ++present) {
            for (unsigned bit = 0; bit < 3; ++bit)
                if ((present >> bit & 1) != 0) writeFile(pathOf(ALL[bit + 1]), "");
            setDataOverride(host.places, 1, wanted);
            EXPECT_EQ(wanted, dataOverride(host.places, 1));
            for (const eDataOverride other : {ALL[1], ALL[2], ALL[3]})
                EXPECT_EQ(other == wanted, fileExists(pathOf(other))) << present;
        }
    }
}

TEST_F(DataOverride, OfAnotherSlot_Stays) {
    setDataOverride(host.places, 2, eDataOverride::OFF);
    setDataOverride(host.places, 1, eDataOverride::AUTO);
    EXPECT_EQ(eDataOverride::OFF, dataOverride(host.places, 2));
}

TEST_F(DataOverride, LinkInPlaceOfTheFile_IsReplacedAndNotFollowed) {
    const std::string elsewhere = host.places.at("/tmp/elsewhere");
    ASSERT_EQ(0, symlink(elsewhere.c_str(), pathOf(eDataOverride::OFF).c_str()));
    setDataOverride(host.places, 1, eDataOverride::OFF);
    EXPECT_FALSE(fileExists(elsewhere));
    EXPECT_EQ(eDataOverride::OFF, dataOverride(host.places, 1));
}

TEST_F(DataOverride, FolderInPlaceOfAStrongerOverride_IsAFailure) {
    host.folderAt("/tmp/force_cell_con.1");
    const sCommandRun run = runOn(host, {"data", "off", "-p", "1"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos, run.err.find("rmdir")) << run.err;
}

// Removing a weaker file while a stronger one exists has no effect. In the other order, the daemon
// could see a state that nobody requested.
TEST_F(DataOverride, Removal_BeginsWithTheWeakestOverride) {
    host.folderAt("/tmp/force_cell_con.1");  // it cannot be removed, so the removal stops
    writeFile(pathOf(eDataOverride::OFF), "");
    writeFile(pathOf(eDataOverride::POWER_OFF), "");
    EXPECT_EQ(eExitStatus::FAILED, runOn(host, {"data", "auto", "-p", "1"}).status);
    EXPECT_FALSE(fileExists(pathOf(eDataOverride::POWER_OFF)));
    EXPECT_FALSE(fileExists(pathOf(eDataOverride::OFF)));
}

TEST_F(DataOverride, Auto_WaitsForTheStateOfTheConfiguration) {
    host.daemon(1, 42);
    host.file("/var/run/poststart", "");
    const auto statusOfAuto = [&](const char* state, const std::string& enable) {
        host.status(1, {{"QMI_STATE", state}});
        host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=" + enable + "\n");
        return runOn(host, {"data", "auto", "-t", "1"}).status;
    };
    EXPECT_EQ(eExitStatus::OK, statusOfAuto("CONNECTED", "yes"));
    EXPECT_EQ(eExitStatus::TIMED_OUT, statusOfAuto("DISCONNECTED", "yes"));
    EXPECT_EQ(eExitStatus::OK, statusOfAuto("DISCONNECTED", "no"));
    EXPECT_EQ(eExitStatus::TIMED_OUT, statusOfAuto("CONNECTED", "no"));
    EXPECT_EQ(eExitStatus::TIMED_OUT, statusOfAuto("DISCONNECTED", "off"));
}

TEST_F(DataOverride, CommandWithoutEffectInTime_ShowsTheCurrentState) {
    host.daemon(1, 42);
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}, {"LAST_CONNECT_ERROR_E", "207"}});
    const sCommandRun run = runOn(host, {"data", "on", "-t", "1"});
    EXPECT_EQ(eExitStatus::TIMED_OUT, run.status);
    EXPECT_NE(std::string::npos,
              run.out.find("connection DISCONNECTED; last error: the network assigned"))
        << run.out;
}
