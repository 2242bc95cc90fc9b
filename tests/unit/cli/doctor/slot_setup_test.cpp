#include <unistd.h>

#include "cli/doctor/slot_setup.h"
#include "tests/unit/cli/doctor/doctor_fixture.h"

TEST_F(Doctor, Setup_OfTheRunningDaemon) {
    host.daemon(1, 51, " -d /dev/a -g/dev/b --interface=wwan0 -d /dev/c");
    host.file("/proc/51/environ", std::string("A=b\0PATH=/x:/y\0", 15));
    setup = findSlotSetup(host.places, 1);
    EXPECT_EQ("/dev/c", setup.device);
    EXPECT_EQ("/dev/b", setup.gpsDevice);
    EXPECT_EQ("wwan0", setup.interface);
    EXPECT_EQ("/x:/y", setup.path);
}

TEST_F(Doctor, Setup_OfTheServiceWithoutADaemon) {
    host.file("/etc/default/cellslotd.2",
              "# ports\nDEVICE=/dev/a\nGPS_DEVICE=\"/dev/b\"\nINTERFACE=wwan1\n");
    setup = findSlotSetup(host.places, 2);
    EXPECT_EQ("/dev/a", setup.device);
    EXPECT_EQ("/dev/b", setup.gpsDevice);
    EXPECT_EQ("wwan1", setup.interface);
}

// The file that the package installs for every slot.
void packageSettings(cEmptyHost& host) {
    for (const std::string slot : {"1", "2", "3"})
        host.file("/etc/default/cellslotd." + slot, "DEVICE=/dev/" + slot + "-at\n");
}

TEST_F(Doctor, Slots_SettingsOfThePackageAlone_AreNoSlotInUse) {
    packageSettings(host);
    EXPECT_EQ(std::vector<int>{1}, knownSlots(host.places));
    host.file("/etc/vuk/cellular1.conf", "");
    EXPECT_EQ(std::vector<int>{1}, knownSlots(host.places));
}

TEST_F(Doctor, Slots_SettingsWithTheirModemOrAnEnabledService_AreInUse) {
    packageSettings(host);
    host.file("/dev/2-at", "");
    EXPECT_EQ(std::vector<int>{2}, knownSlots(host.places));
    for (const char* folder :
         {"/etc/systemd", "/etc/systemd/system", "/etc/systemd/system/multi-user.target.wants"})
        host.folderAt(folder);
    // systemd's link points to a unit that need not exist below the test's folder.
    ASSERT_EQ(0, symlink("/nowhere", host.places
                                         .at("/etc/systemd/system/multi-user.target.wants/"
                                             "cellslotd@3.service")
                                         .c_str()));
    EXPECT_EQ((std::vector<int>{2, 3}), knownSlots(host.places));
}
