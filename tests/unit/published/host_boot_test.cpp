#include "published/host_boot.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/temp_folder.h"

TEST(HostBoot, WithoutTheFile_TakesMoreThanThreeMinutes) {
    const cTempFolder host;
    EXPECT_EQ(hostBoot(host.path(), 0), eHostBoot::BOOTING);
    EXPECT_EQ(hostBoot(host.path(), 180), eHostBoot::BOOTING);
    EXPECT_EQ(hostBoot(host.path(), 180.5), eHostBoot::UP_FOR_LONG);
    EXPECT_EQ(hostBoot(host.path(), 181), eHostBoot::UP_FOR_LONG);
}

TEST(HostBoot, WithTheFile_IsOverAtOnce) {
    const cTempFolder host;
    ASSERT_EQ(0, system(("mkdir -p " + host.path() + "/var/run").c_str()));
    writeFile(host.path() + "/var/run/poststart", "");
    EXPECT_EQ(hostBoot(host.path(), 0), eHostBoot::FILE_IS_THERE);
    EXPECT_EQ(hostBoot(host.path(), 1000), eHostBoot::FILE_IS_THERE);
}

TEST(HostBoot, Uptime_IsKnown) {
    EXPECT_GT(hostUptimeS(), 0U);
}

TEST(HostBoot, Id_IsTheSameUntilTheNextStart) {
    EXPECT_EQ(hostBootId().size(), 36U);
    EXPECT_EQ(hostBootId(), hostBootId());
}
