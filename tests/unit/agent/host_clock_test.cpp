#include "agent/host_clock.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_folder.h"

namespace {

constexpr time_t NOW = CLOCK_SET_AFTER + 1000;

class HostClock : public testing::Test {
  protected:
    bool isSure(long long runS, time_t wall = NOW) const {
        return isClockSure({folder.path()}, wall, runS);
    }
    void put(const std::string& path, const std::string& text) {
        const std::filesystem::path file = folder / path;
        std::filesystem::create_directories(file.parent_path());
        writeFile(file, text);
    }
    void putBatteryClock(const std::string& hasSetTheHost, time_t time) {
        put("sys/class/rtc/rtc0/hctosys", hasSetTheHost + "\n");
        put("sys/class/rtc/rtc0/since_epoch", std::to_string(time) + "\n");
    }

    cTempFolder folder;
};

}  // namespace

TEST_F(HostClock, NothingIsKnown_SureOnlyTenMinutesAfterTheStart) {
    EXPECT_FALSE(isSure(30));
    EXPECT_FALSE(isSure(CLOCK_SET_WITHIN_S - 1));
    EXPECT_TRUE(isSure(CLOCK_SET_WITHIN_S));
}

TEST_F(HostClock, Synchronised_SureAtOnce) {
    put("run/systemd/timesync/synchronized", "");
    EXPECT_TRUE(isSure(30));
}

TEST_F(HostClock, BatteryThatHasSetTheHost_SureAsLongAsBothAgree) {
    putBatteryClock("1", NOW - 2);
    EXPECT_TRUE(isSure(30));
    EXPECT_FALSE(isSure(30, NOW + 3 * 86400)) << "a service has set the host's clock forward";
    putBatteryClock("0", NOW - 2);
    EXPECT_FALSE(isSure(30)) << "it has set nothing";
}

TEST_F(HostClock, EmptyBattery_NotSure) {
    putBatteryClock("1", 100);
    EXPECT_FALSE(isSure(30, 100));
    put("sys/class/rtc/rtc0/since_epoch", "x\n");
    EXPECT_FALSE(isSure(30));
}
