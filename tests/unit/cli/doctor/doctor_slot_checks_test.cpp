#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "cli/doctor/doctor_slot_checks.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/unit/cli/doctor/doctor_fixture.h"

TEST_F(Doctor, PowerSwitch_OfASlot_FollowsItsLines) {
    host.file("/tools/sledctl", "CONFIG=/etc/cellslot/slots.conf\n", 0755);
    expect(eHealth::NOTE, checkPowerSwitch, "slots.conf (host-tools.md)");
    const struct {
        const char* lines;
        eHealth health;
    } cases[] = {
        {"#1 usb 1-1.2\n", eHealth::NOTE},
        {"2 usb 1-1.2\n", eHealth::NOTE},
        {"1 off sleep 1\n", eHealth::NOTE},
        {"1 on sleep 1\n", eHealth::NOTE},
        {" 1\tusb 1-1.2 4 3\n", eHealth::FINE},
        {"1 reset run x\n", eHealth::FINE},
        {"1 on sleep 1\n# x\n1 off sleep 1\n", eHealth::FINE},
    };
    for (const auto& row : cases) {
        host.file("/etc/cellslot/slots.conf", row.lines);
        SCOPED_TRACE(row.lines);
        expect(row.health, checkPowerSwitch);
    }
    // A gateway's own tools have their own list of slots.
    host.file("/etc/cellslot/slots.conf", "");
    host.file("/tools/sledctl", "#!/bin/sh\n", 0755);
    expect(eHealth::FINE, checkPowerSwitch);
}

TEST_F(Doctor, Instance_NoneOneAndTwo) {
    expect(eHealth::BROKEN, checkInstance, "systemctl start cellslotd@1");
    host.process(50, "cellslotd --port=1", "cellslotd");
    expect(eHealth::BROKEN, checkInstance, "process 50 is running, but is not in its pid file");
    host.daemon(1, 51);
    setup = findSlotSetup(host.places, 1);
    EXPECT_EQ(51, setup.pid);
    expect(eHealth::BROKEN, checkInstance, "2 daemons");
    host.process(50, "cellslotd -p2", "cellslotd");
    expect(eHealth::FINE, checkInstance, "running as process 51");
}

TEST_F(Doctor, Instance_ThatEndedOnRequest_IsNoFault) {
    host.file("/tmp/force_cell_tempoff.1", "");
    expect(eHealth::NOTE, checkInstance, "cellslot data auto -p 1");
    unlink(host.places.at("/tmp/force_cell_tempoff.1").c_str());
    host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=off\n");
    expect(eHealth::NOTE, checkInstance, "CM_ENABLE_INTERFACE=yes");
}

TEST_F(Doctor, Status_NotWrittenForLong) {
    setup.pid = 42;
    expect(eHealth::NOTE, checkStatusFile, "cardstats.1 does not exist yet");
    host.status(1, {});
    expect(eHealth::FINE, checkStatusFile);
    const timespec old[2] = {{1000, 0}, {1000, 0}};
    utimensat(AT_FDCWD, host.places.at("/var/log/wireless.cardstats.1").c_str(), old, 0);
    expect(eHealth::BROKEN, checkStatusFile, "has not been updated");
}

TEST_F(Doctor, Device_MissingOrNoPort) {
    expect(eHealth::NOTE, checkDevice, "--device");
    setup.device = "/dev/at";
    expect(eHealth::BROKEN, checkDevice, "does not exist");
    host.file("/dev/at", "");
    expect(eHealth::BROKEN, checkDevice, "is not a serial port");
    unlink(host.places.at("/dev/at").c_str());
    port("/dev/at");
    expect(eHealth::FINE, checkDevice, "exists");
    chmod(host.places.at("/dev/at").c_str(), 0666);
    expect(eHealth::NOTE, checkDevice, "MODE=\"0660\"");
}

TEST_F(Doctor, Device_WhoseModemNeverAnswered_MayBeTheWrongPort) {
    setup.device = "/dev/at";
    port("/dev/at");
    host.status(1, {{"SIM_STATUS", "Unknown"}, {"TEMPERATURE", "-999"}});
    expect(eHealth::FINE, checkDevice, "/dev/at exists");
    setup.pid = 42;
    expect(eHealth::NOTE, checkDevice, "has not answered yet on /dev/at");
    expect(eHealth::NOTE, checkDevice, "write its number into /etc/cellslot/slots.conf");
    host.status(1, {{"SIM_STATUS", "Available"}, {"TEMPERATURE", "28"}});
    expect(eHealth::FINE, checkDevice);
}

TEST_F(Doctor, Device_ThatTheDaemonsUserMayNotUse) {
    if (geteuid() != 0) GTEST_SKIP() << "gives files away";
    setup.device = "/dev/at";
    port("/dev/at");
    host.daemon(1, 51);
    setup.pid = 51;
    const passwd* nobody = getpwnam("nobody");
    ASSERT_NE(nullptr, nobody);
    const gid_t group = nobody->pw_gid;
    ASSERT_EQ(0, chown(host.places.at("/proc/51").c_str(), nobody->pw_uid, 0));
    expect(eHealth::BROKEN, checkDevice, "user nobody has no access to /dev/at");
    ASSERT_EQ(0, chown(host.places.at("/dev/at").c_str(), 0, group));
    expect(eHealth::FINE, checkDevice);
    ASSERT_EQ(0, chown(host.places.at("/dev/at").c_str(), nobody->pw_uid, 0));
    expect(eHealth::FINE, checkDevice);
}

TEST_F(Doctor, Holders_OtherProgramsWithThePortOpen) {
    setup.device = "/dev/modem";
    setup.gpsDevice = "/dev/gps";
    port("/dev/at");
    port("/dev/gps");
    ASSERT_EQ(0, symlink("at", host.places.at("/dev/modem").c_str()));
    const auto opens = [&](int pid, const std::string& device) {
        const std::string fd = host.places.at("/proc/" + std::to_string(pid) + "/fd/5");
        ASSERT_EQ(0, symlink(host.places.at(device).c_str(), fd.c_str()));
    };
    host.process(60, "gpsd", "gpsd");
    opens(60, "/dev/gps");
    host.daemon(1, 61);
    setup.pid = 61;
    opens(61, "/dev/at");
    const eHealth nothing = geteuid() == 0 ? eHealth::FINE : eHealth::NOTE;
    host.process(getpid(), "cellslot doctor", "cellslot");
    opens(getpid(), "/dev/at");
    expect(nothing, checkHolders);
    host.process(62, "/usr/sbin/ModemManager", "ModemManager");
    opens(62, "/dev/at");
    expect(eHealth::BROKEN, checkHolders, "ModemManager (62)");
    expect(eHealth::BROKEN, checkHolders, "mask --now");
}

TEST_F(Doctor, Holders_ServerOfAPseudoTerminal_IsNotReported) {
    const sPseudoTerminal terminal = openPseudoTerminal();
    const eHealth nothing = geteuid() == 0 ? eHealth::FINE : eHealth::NOTE;
    setup.device = "/dev/modem";
    const std::string& slave = terminal.path;
    ASSERT_EQ(0, symlink(slave.c_str(), host.places.at("/dev/modem").c_str()));
    host.process(62, "le910sim", "le910sim");
    const std::string process = host.places.at("/proc/62");
    ASSERT_EQ(0, symlink("/dev/ptmx", (process + "/fd/4").c_str()));
    ASSERT_EQ(0, symlink(slave.c_str(), (process + "/fd/5").c_str()));
    host.folderAt("/proc/62/fdinfo");
    const std::string number = slave.substr(slave.rfind('/') + 1);
    host.file("/proc/62/fdinfo/4", "pos:\t0\nflags:\t0100002\ntty-index:\t" + number + "\n");
    expect(nothing, checkHolders);
    // A shell on the terminal that serves no slot, or another one.
    host.file("/proc/62/fdinfo/4", "pos:\t0\ntty-index:\t1" + number + "\n");
    expect(eHealth::BROKEN, checkHolders, "le910sim (62)");
    host.file("/proc/62/fdinfo/4", "pos:\t0\n");
    expect(eHealth::BROKEN, checkHolders, "le910sim (62)");
    close(terminal.modemEnd);
}

TEST_F(Doctor, Holders_DeviceNumber_MeansThePortUnlessItIsOfAPseudoTerminal) {
    if (geteuid() != 0) GTEST_SKIP() << "makes device nodes";
    constexpr unsigned USB_SERIAL_MAJOR = 188;
    constexpr unsigned PSEUDO_TERMINAL_MAJOR = 136;
    setup.device = "/dev/at";
    host.process(62, "socat", "socat");
    ASSERT_EQ(
        0, symlink(host.places.at("/dev/other").c_str(), host.places.at("/proc/62/fd/5").c_str()));
    const auto makeBoth = [&](unsigned major) {
        for (const char* node : {"/dev/at", "/dev/other"}) {
            unlink(host.places.at(node).c_str());
            if (mknod(host.places.at(node).c_str(), S_IFCHR | 0600, makedev(major, 2)) != 0)
                return false;
        }
        return true;
    };
    if (!makeBoth(USB_SERIAL_MAJOR)) GTEST_SKIP() << "may not make device nodes";
    expect(eHealth::BROKEN, checkHolders, "socat (62)");
    ASSERT_TRUE(makeBoth(PSEUDO_TERMINAL_MAJOR));
    expect(eHealth::FINE, checkHolders);
}

TEST_F(Doctor, Holder_ModemManager_MendDependsOnTheUdevRule) {
    setup.device = "/dev/ttyUSB0";
    port("/dev/ttyUSB0");
    host.process(62, "/usr/sbin/ModemManager", "ModemManager");
    ASSERT_EQ(0, symlink(host.places.at("/dev/ttyUSB0").c_str(),
                         host.places.at("/proc/62/fd/5").c_str()));
    expect(eHealth::BROKEN, checkHolders, "systemctl mask --now ModemManager");
    for (const char* folder : {"/lib", "/lib/udev", "/lib/udev/rules.d"})
        host.folderAt(folder);
    host.file("/lib/udev/rules.d/60-cellslot.rules", "ENV{ID_MM_DEVICE_IGNORE}=\"1\"\n");
    expect(eHealth::BROKEN, checkHolders,
           "udevadm trigger --settle --property-match=ID_VENDOR_ID=1bc7; "
           "systemctl restart ModemManager");
}

TEST_F(Doctor, Interface_NameAndExistence) {
    expect(eHealth::NOTE, checkInterface, "--interface");
    for (const char* name : {"wwan0;reboot", "..", "-i", "sixteen-letters0"}) {
        setup.interface = name;
        expect(eHealth::BROKEN, checkInterface, "is not an interface name");
    }
    setup.interface = "wwan0";
    expect(eHealth::BROKEN, checkInterface, "does not exist");
    host.folderAt("/sys/class/net/wwan0");
    expect(eHealth::FINE, checkInterface);
}

TEST_F(Doctor, Interface_DownWhileTheSessionIsUp) {
    setup.interface = "lo";
    host.folderAt("/sys/class/net/lo");
    host.file("/sys/class/net/lo/flags", "0x1090\n");
    host.status(1, {{"QMI_STATE", "CONNECTED"}, {"NETWORK_INTERFACE", "lo"}});
    expect(eHealth::FINE, checkInterface);  // from a daemon that no longer runs
    setup.pid = 51;
    expect(eHealth::BROKEN, checkInterface, "lo is down");
    host.file("/sys/class/net/lo/flags", "0x1091\n");
    expect(eHealth::FINE, checkInterface);
    host.file("/sys/class/net/lo/flags", "0x1090\n");
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}});
    expect(eHealth::FINE, checkInterface);
}

TEST_F(Doctor, Interface_WithoutAnAddressWhileTheSessionIsUp) {
    setup.interface = "cell9";
    setup.pid = 51;
    host.folderAt("/sys/class/net/cell9");
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}, {"NETWORK_INTERFACE", "cell9"}});
    expect(eHealth::FINE, checkInterface);
    host.status(1, {{"QMI_STATE", "CONNECTED"}, {"NETWORK_INTERFACE", "cell9"}});
    expect(eHealth::BROKEN, checkInterface, "cell9 has no address, although the session is up");
}

TEST_F(Doctor, Configuration_MissingLooseOrRefused) {
    expect(eHealth::BROKEN, checkConfiguration, "/etc/vuk/cellular1.conf is missing");
    host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=yes\n");
    expect(eHealth::FINE, checkConfiguration);
    host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=no\nCM_MTU=1\n");
    expect(eHealth::NOTE, checkConfiguration, "cellslot config check -q -p 1");
    expect(eHealth::NOTE, checkConfiguration, "CM_ENABLE_INTERFACE is no");
    host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=yes\nCM_USERNAME=u\nCM_PASSWORD=p\n");
    expect(eHealth::NOTE, checkConfiguration, "chmod 600");
    host.file("/etc/vuk/cellular1.conf", "CM_ENABLE_INTERFACE=yes\n", 0666);
    expect(eHealth::BROKEN, checkConfiguration, "chmod go-w");
}

TEST_F(Doctor, PinFiles_WithLooseRights) {
    expect(eHealth::FINE, checkPinFiles);
    host.file("/etc/vuk/cellular_puk.1", "", 0600);
    expect(eHealth::FINE, checkPinFiles);
    for (const mode_t mode : {0640u, 0604u, 0620u, 0601u}) {
        host.file("/etc/vuk/cellular_cpin_new.1", "", mode);
        expect(eHealth::BROKEN, checkPinFiles, "cellular_cpin_new.1");
    }
    unlink(host.places.at("/etc/vuk/cellular_cpin_new.1").c_str());
    ASSERT_EQ(0, symlink("/tmp/pin", host.places.at("/etc/vuk/cellular_cpin.1").c_str()));
    expect(eHealth::BROKEN, checkPinFiles, "is a link");
    unlink(host.places.at("/etc/vuk/cellular_cpin.1").c_str());
    for (const mode_t mode : {0702u, 0720u}) {
        chmod(host.places.at("/etc/vuk").c_str(), mode);
        expect(eHealth::BROKEN, checkPinFiles, "others can write");
    }
}

TEST_F(Doctor, PinFiles_OfAnotherUser) {
    if (geteuid() != 0) GTEST_SKIP() << "gives files away";
    host.file("/etc/vuk/cellular_cpin.1", "1234\n", 0600);
    ASSERT_EQ(0, chown(host.places.at("/etc/vuk/cellular_cpin.1").c_str(), 65534, 0));
    expect(eHealth::BROKEN, checkPinFiles, "belongs to another user");
}

TEST_F(Doctor, Override_IsNamed) {
    expect(eHealth::FINE, checkOverride);
    host.file("/tmp/force_cell_nocon.1", "");
    expect(eHealth::NOTE, checkOverride, "cellslot data auto -p 1");
}

TEST_F(Doctor, Gps_OnlyIfItIsConfigured) {
    host.file("/etc/vuk/cellular1.conf", "CM_GPS_ENABLE=no\n");
    expect(eHealth::FINE, checkGps);
    host.file("/etc/vuk/cellular1.conf", "CM_GPS_ENABLE=yes\n");
    for (const char* tool : {"gpsd", "gpsdctl"})
        host.file(std::string("/tools/") + tool, "", 0755);
    host.file("/tools/true", "#!/bin/bash\nexit 0\n", 0755);
    host.file("/tools/timeout", "#!/bin/bash\n[[ $1 == -t ]]\n", 0755);
    setup.gpsDevice = "/dev/gps";
    expect(eHealth::BROKEN, checkGps, "does not exist: no positions");
    port("/dev/gps", 0666);
    expect(eHealth::FINE, checkGps);
    host.file("/tools/timeout", "#!/bin/bash\n[[ $1 != -t ]]\n", 0755);
    expect(eHealth::BROKEN, checkGps, "does not accept -t");
}
