#include "fleet/fleet_config.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "cli/base/failure.h"
#include "tests/support/temp_folder.h"

namespace {

class FleetConfig : public testing::Test {
  protected:
    FleetConfig() {
        setenv("HOME", "/home/anna", 1);
        unsetenv("XDG_CONFIG_HOME");
        std::filesystem::create_directories(folder / "etc/cellslot");
        std::filesystem::create_directories(folder / "home/anna/.config/cellslot");
    }
    void write(const std::string& path, const std::string& text) const {
        writeFile(folder.path() + path, text);
    }
    sFleetConfig read(const sConfigChoice& choice = {}) const {
        return readFleetConfig({folder.path()}, choice);
    }
    std::string refusal(const std::string& text, const sConfigChoice& choice = {}) const {
        write(FLEET_CONFIG_FILE, text);
        try {
            read(choice);
        } catch (const cFailure& failure) {
            return failure.what();
        }
        return "";
    }

    const cTempFolder folder;
    const std::string own = "/home/anna/.config/cellslot/fleet.conf";
};

}  // namespace

TEST_F(FleetConfig, OwnFile_ComesBeforeTheHosts) {
    write(FLEET_CONFIG_FILE, "BROKER=localhost:1\nTLS=no\n");
    EXPECT_EQ(read().file, FLEET_CONFIG_FILE);
    write(own, "BROKER=localhost:2\nTLS=no\nNAME=anna@desk\n");
    EXPECT_EQ(read().file, own);
    EXPECT_EQ(read().broker.brokers.front().port, 2);
    EXPECT_EQ(read().by, "anna@desk");
    EXPECT_EQ(read({FLEET_CONFIG_FILE, ""}).broker.brokers.front().port, 1);
}

TEST_F(FleetConfig, BrokerOfTheCommandLine_ReplacesTheFiles) {
    write(own, "BROKER=localhost:2,localhost:3\nTLS=no\n");
    const sFleetConfig config = read({"", "127.0.0.1:7"});
    ASSERT_EQ(config.broker.brokers.size(), 1u);
    EXPECT_EQ(config.broker.brokers.front().port, 7);
    EXPECT_EQ(config.by, callerName());
}

TEST_F(FleetConfig, Mistakes_AreNamed) {
    EXPECT_NE(refusal("BROKER=a\nTLS=no\n").find("TLS=no is for a broker on this host only"),
              std::string::npos);
    EXPECT_NE(refusal("HOST=a\n").find("/etc/cellslot/fleet.conf line 1: unknown key 'HOST'"),
              std::string::npos);
    EXPECT_NE(refusal("\nNAME=\n").find("line 2: NAME is ''"), std::string::npos);
    EXPECT_NE(refusal("").find("BROKER is missing"), std::string::npos);
    EXPECT_NE(refusal("", {"/nowhere", ""}).find("there is no file /nowhere"), std::string::npos);
    EXPECT_NE(refusal("TLS=no\n", {"", ":"}).find("--broker"), std::string::npos);
}

TEST_F(FleetConfig, NoFile_SaysWhereOneIsExpected) {
    try {
        read();
        FAIL();
    } catch (const cFailure& failure) {
        EXPECT_NE(std::string(failure.what()).find("there is no /etc/cellslot/fleet.conf"),
                  std::string::npos);
    }
}
