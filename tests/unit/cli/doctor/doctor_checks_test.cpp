#include <fcntl.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "cli/doctor/doctor_checks.h"
#include "cli/doctor/modem_checks.h"
#include "tests/support/pseudo_terminal.h"
#include "tests/unit/cli/empty_host.h"

namespace {

// The worst health among the findings of a check; FINE if it finds nothing.
eHealth worst(const tFindings& findings) {
    eHealth health = eHealth::FINE;
    for (const sFinding& finding : findings)
        if (finding.health > health) health = finding.health;
    return health;
}

bool mentions(const tFindings& findings, const std::string& text) {
    for (const sFinding& finding : findings)
        if ((finding.text + finding.mend).find(text) != std::string::npos) return true;
    return false;
}

// Every finding that is not fine says what to do; fine findings do not.
void expectMends(const tFindings& findings) {
    for (const sFinding& finding : findings)
        EXPECT_EQ(finding.health == eHealth::FINE, finding.mend.empty()) << finding.text;
}

class Doctor : public testing::Test {
  protected:
    Doctor() {
        setup.slot = 1;
        setup.path = "/tools";
    }

    void expect(eHealth health, tCheck check, const std::string& mentioned = "") {
        const tFindings findings = check(host.places, setup);
        expectMends(findings);
        EXPECT_EQ(health, worst(findings)) << (findings.empty() ? "" : findings[0].text);
        EXPECT_TRUE(mentioned.empty() || mentions(findings, mentioned)) << mentioned;
    }

    void port(const std::string& path, mode_t mode = 0660) {
        ASSERT_EQ(0, mkfifo(host.places.at(path).c_str(), mode));
        chmod(host.places.at(path).c_str(), mode);
    }

    void shell(const std::string& answer) {
        host.file("/bin/sh", "#!/bin/bash\nexit " + answer + "\n", 0755);
    }

    cEmptyHost host;
    sSlotSetup setup;
};

// A host with an interface that others may also set up.
class DoctorNeighbours : public Doctor {
  protected:
    DoctorNeighbours() {
        setup.interface = "cell1";
        host.folderAt("/sys/class/net/cell1");
        host.file("/sys/class/net/cell1/ifindex", "5\n");
        for (const char* folder :
             {"/run/NetworkManager", "/run/NetworkManager/devices", "/run/systemd",
              "/run/systemd/netif", "/run/systemd/netif/links", "/run/cellslot"})
            host.folderAt(folder);
    }

    void connected() {
        host.daemon(1, 51);
        setup.pid = 51;
        host.status(1, {{"QMI_STATE", "CONNECTED"}});
    }

    void serversIn(const std::string& place) {
        host.file("/run/cellslot/cellint.cell1",
                  "link down\naddress 10.64.1.8/24\n" + place + "\n");
    }

    void resolvConfLeadsTo(const std::string& target) {
        unlink(host.places.at("/etc/resolv.conf").c_str());
        ASSERT_EQ(0, symlink(target.c_str(), host.places.at("/etc/resolv.conf").c_str()));
    }
};

}  // namespace

TEST_F(Doctor, Shell_ThatReadsTheCommandAsTwo_IsBroken) {
    shell("1");
    expect(eHealth::FINE, checkShell);
    shell("0");
    expect(eHealth::BROKEN, checkShell, "bash or busybox");
    unlink(host.places.at("/bin/sh").c_str());
    expect(eHealth::BROKEN, checkShell, "cannot be run");
}

TEST_F(Doctor, Shell_OfThisMachinesDash) {
    ASSERT_EQ(0, access("/bin/dash", X_OK));
    ASSERT_EQ(0, symlink("/bin/dash", host.places.at("/bin/sh").c_str()));
    expect(eHealth::BROKEN, checkShell, "does not understand");
    unlink(host.places.at("/bin/sh").c_str());
    ASSERT_EQ(0, symlink("/bin/bash", host.places.at("/bin/sh").c_str()));
    expect(eHealth::FINE, checkShell);
}

TEST_F(Doctor, Shell_ThatTheServiceGivesTheDaemon) {
    host.process(51, "cellslotd", "cellslotd");
    setup.pid = 51;
    for (const char* folder : {"/proc/51/root", "/proc/51/root/bin"})
        host.folderAt(folder);
    shell("0");
    host.file("/proc/51/root/bin/sh", "#!/bin/bash\nexit 1\n", 0755);
    expect(eHealth::FINE, checkShell);
    shell("1");
    host.file("/proc/51/root/bin/sh", "#!/bin/bash\nexit 0\n", 0755);
    expect(eHealth::BROKEN, checkShell, "does not understand");
}

TEST_F(Doctor, Shell_OfAHostWithTheServiceThatDoesNotRun) {
    shell("0");
    for (const char* folder : {"/lib", "/lib/systemd", "/lib/systemd/system"})
        host.folderAt(folder);
    host.file("/lib/systemd/system/cellslotd@.service", "");
    expect(eHealth::BROKEN, checkShell);
    for (const char* folder : {"/run/systemd", "/run/systemd/system"})
        host.folderAt(folder);
    expect(eHealth::NOTE, checkShell, "only as a service");
    host.process(51, "cellslotd", "cellslotd");
    setup.pid = 51;
    expect(eHealth::BROKEN, checkShell);
}

TEST_F(Doctor, Tools_MissingOrNotExecutable) {
    for (const char* tool :
         {"setup_cellint.sh", "systime.sh", "sledctl", "ResetCellular", "ip", "flock", "ping"})
        host.file(std::string("/tools/") + tool, "", 0755);
    expect(eHealth::FINE, checkTools);
    chmod(host.places.at("/tools/sledctl").c_str(), 0644);
    expect(eHealth::NOTE, checkTools, "sledctl is not");
    unlink(host.places.at("/tools/setup_cellint.sh").c_str());
    expect(eHealth::BROKEN, checkTools, "setup_cellint.sh is not");
}

TEST_F(Doctor, PowerSwitch_WritableForOthers) {
    host.file("/etc/cellslot/slots.conf", "", 0644);
    expect(eHealth::FINE, checkSlotsFile);
    chmod(host.places.at("/etc/cellslot/slots.conf").c_str(), 0664);
    expect(eHealth::BROKEN, checkSlotsFile, "chmod");
}

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

TEST_F(Doctor, Space_FolderMissing) {
    expect(eHealth::FINE, checkSpace, "/var/log has");
    rmdir(host.places.at("/run").c_str());
    expect(eHealth::BROKEN, checkSpace, "/run: No such");
}

TEST_F(Doctor, Boot_ByFileOrUptime) {
    host.file("/proc/uptime", "100.5 90\n");
    expect(eHealth::NOTE, checkBoot, "booting");
    host.file("/var/run/poststart", "");
    expect(eHealth::FINE, checkBoot);
    unlink(host.places.at("/var/run/poststart").c_str());
    host.file("/proc/uptime", "181 90\n");
    expect(eHealth::FINE, checkBoot);
}

TEST_F(Doctor, Messages_SpoolOfAnotherUser) {
    expect(eHealth::FINE, checkMessages, "no message spool yet");
    setup.pid = 42;
    expect(eHealth::BROKEN, checkMessages, "although the daemon is running");
    host.folderAt("/tmp/sms", 0700);
    expect(eHealth::FINE, checkMessages);
    chmod(host.places.at("/tmp/sms").c_str(), 0777);
    expect(eHealth::BROKEN, checkMessages, "chmod 700");
    rmdir(host.places.at("/tmp/sms").c_str());
    ASSERT_EQ(0, symlink(host.places.at("/etc").c_str(), host.places.at("/tmp/sms").c_str()));
    expect(eHealth::BROKEN, checkMessages, "is not a folder");
}

TEST_F(Doctor, Requests_FolderInTheirPlace) {
    host.file("/tmp/at_cmd_in", "AT\n");
    expect(eHealth::FINE, checkRequests);
    unlink(host.places.at("/tmp/at_cmd_in").c_str());
    for (const char* place : {"/tmp/at_cmd_in", "/tmp/at_cmd_in.3"}) {
        host.folderAt(place);
        expect(eHealth::BROKEN, checkRequests, std::string("rmdir ") + place);
        rmdir(host.places.at(place).c_str());
    }
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
    setup.interface = "wwan0";
    host.folderAt("/sys/class/net/wwan0");
    host.file("/sys/class/net/wwan0/flags", "0x1090\n");
    host.status(1, {{"QMI_STATE", "CONNECTED"}});
    expect(eHealth::FINE, checkInterface);  // from a daemon that no longer runs
    setup.pid = 51;
    expect(eHealth::BROKEN, checkInterface, "wwan0 is down");
    host.file("/sys/class/net/wwan0/flags", "0x1091\n");
    expect(eHealth::FINE, checkInterface);
    host.file("/sys/class/net/wwan0/flags", "0x1090\n");
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}});
    expect(eHealth::FINE, checkInterface);
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

TEST_F(Doctor, ModemHabits_AsFarAsPublished) {
    const std::string iccid = "89014100000000000015";
    host.status(1, {{"SIM_STATUS", "Not Present"}});
    expect(eHealth::FINE, checkModemHabits);  // from a daemon that no longer runs
    setup.pid = 42;
    expect(eHealth::NOTE, checkModemHabits, "#QSS mode is 2");
    expect(eHealth::NOTE, checkModemHabits, "cellslot doctor --ask-modem -p 1");
    host.status(1, {{"SIM_STATUS", "Available"}, {"SIM_ID", iccid}});
    expect(eHealth::FINE, checkModemHabits);
    host.status(1, {{"SIM_STATUS", "Available"}, {"SIM_ID", std::string(22, '0')}});
    expect(eHealth::NOTE, checkModemHabits, "filler F");
    const auto failed = [&](const char* state, const char* error) {
        host.status(1, {{"SIM_STATUS", "Available"},
                        {"SIM_ID", iccid},
                        {"QMI_STATE", state},
                        {"LAST_CONNECT_ERROR_E", error}});
    };
    failed("DISCONNECTED", "207");
    expect(eHealth::NOTE, checkModemHabits, "the mask 255.255.255.255");
    failed("CONNECTED", "207");
    expect(eHealth::FINE, checkModemHabits);
    failed("DISCONNECTED", "206");
    expect(eHealth::FINE, checkModemHabits);
}

TEST_F(Doctor, ModemsAnswer_IsChecked) {
    const struct {
        const char* answer;
        eHealth health;
        const char* mentioned;
    } cases[] = {
        {"AT#QSS?\r\r\n#QSS: 0,1\r\n\r\nOK\r\n", eHealth::FINE, "detects the SIM"},
        {"#QSS: 1\r\n#QSS: 2,3\r\nOK\r\n", eHealth::BROKEN, "cellslot at AT#QSS=0 -p 1"},
        {"#QSS: 2,2\r\nOK\r\n", eHealth::BROKEN, "#QSS mode is 2"},
        {"#QSS: 1,0\r\nOK\r\n", eHealth::BROKEN, "detects no SIM"},
        {"#QSS: 0,1\r\n+CCID: 8949020000012345678F\r\nOK\r\n", eHealth::NOTE,
         "8949020000012345678F contains more than digits"},
        {"#QSS: 0,1\r\n+CCID: 89490200000123456785\r\nOK\r\n", eHealth::FINE, "detects the SIM"},
        {"+CGCONTRDP: 1,5,\"internet\",\"10.64.1.8.255.255.255.255\",\"10.64.1.9\"\r\nOK\r\n",
         eHealth::BROKEN, "CM_IPFAMILY=ipv6"},
        {"+CGCONTRDP: 1,5,internet,10.64.1.8.255.255.255.252,10.64.1.9\r\nOK\r\n", eHealth::FINE,
         "mask is usable"},
        // The beginning of an IPv6 prefix.
        {"+CGCONTRDP: 1,5,i,32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1.255.255.255.255.255.255.255.255.0."
         "0.0.0.0.0.0.0\r\nOK\r\n",
         eHealth::FINE, "mask is usable"},
        {"AT#QSS?\nTIMEOUT\n", eHealth::NOTE, "did not answer as expected"},
        {"", eHealth::NOTE, "did not answer as expected"},
    };
    for (const auto& row : cases) {
        const tFindings findings = judgeModemAnswer(row.answer, setup);
        expectMends(findings);
        EXPECT_EQ(row.health, worst(findings)) << row.answer;
        EXPECT_TRUE(mentions(findings, row.mentioned)) << row.answer << findings[0].text;
    }
    const std::string endless = "+CCID: F" + std::string(5000, 'x') + "\n";
    EXPECT_GT(200u, judgeModemAnswer(endless, setup).front().text.size());
}

TEST_F(Doctor, ModemQueries_AreOneRequestForTheActiveContext) {
    EXPECT_EQ("AT#QSS?\nAT+CCID?\nAT+CGCONTRDP=3::5\n", modemQuestions("3"));
    for (const char* context : {"", "x", "1\nAT+CFUN=4", "123"})
        EXPECT_EQ("AT#QSS?\nAT+CCID?\nAT+CGCONTRDP=1::5\n", modemQuestions(context));
}

TEST_F(Doctor, AskModem_WithoutADaemon_IsANote) {
    const sCommandRun run = runOn(host, {"doctor", "--ask-modem", "-p", "2"});
    EXPECT_NE(std::string::npos,
              run.out.find(
                  "  note    modem      the modem was not asked: no daemon is running for slot 2\n"
                  "                     -> to start it: systemctl start cellslotd@2\n"))
        << run.out;
}

TEST_F(DoctorNeighbours, Managers_NoneIsThere) {
    expect(eHealth::FINE, checkManagers);
    setup.interface = "../../x";
    expect(eHealth::FINE, checkManagers);
}

TEST_F(DoctorNeighbours, Managers_NetworkManagerHasTheInterface) {
    host.process(70, "/usr/sbin/NetworkManager --no-daemon", "NetworkManager");
    host.file("/run/NetworkManager/devices/4", "[device]\nmanaged=true\n");
    expect(eHealth::FINE, checkManagers);
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=false\n");
    expect(eHealth::FINE, checkManagers);
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=true\nnm-owned=false\n");
    expect(eHealth::BROKEN, checkManagers, "cell1 is also set up by NetworkManager");
    expect(eHealth::BROKEN, checkManagers,
           "unmanaged-devices=interface-name:cell1 under [keyfile]");
    expect(eHealth::BROKEN, checkManagers, "cellslot data off -p 1");
}

TEST_F(DoctorNeighbours, Managers_NetworkdHasTheInterface) {
    host.process(70, "/lib/systemd/systemd-networkd", "systemd-network");
    for (const char* state : {"unmanaged", "pending", "initialized", "linger"}) {
        host.file("/run/systemd/netif/links/5", std::string("ADMIN_STATE=") + state + "\n");
        expect(eHealth::FINE, checkManagers);
    }
    for (const char* state : {"configuring", "configured", "failed"}) {
        host.file("/run/systemd/netif/links/5",
                  std::string("# This is private data. Do not parse.\nADMIN_STATE=") + state +
                      "\nNETWORK_FILE=/etc/systemd/network/00-all.network\n");
        expect(eHealth::BROKEN, checkManagers,
               "cell1 is also set up by systemd-networkd (/etc/systemd/network/00-all.network)");
        expect(eHealth::BROKEN, checkManagers, "have it not match cell1");
    }
}

TEST_F(DoctorNeighbours, Managers_NotesOfOneThatEnded_CountNoMore) {
    host.file("/run/NetworkManager/devices/5", "[device]\nmanaged=true\n");
    host.file("/run/systemd/netif/links/5", "ADMIN_STATE=configured\n");
    expect(eHealth::FINE, checkManagers);
}

TEST_F(DoctorNeighbours, NameServers_InTheFile_UntilAnotherProgramWritesIt) {
    serversIn("newfile");
    host.file("/etc/resolv.conf",
              "# cellslot cell1 begin\nnameserver 10.0.0.1\n# cellslot cell1 end\n");
    connected();
    expect(eHealth::FINE, checkNameServers);
    host.file("/etc/resolv.conf", "# cellslot cell10 begin\nnameserver 10.0.0.1\n");
    expect(eHealth::BROKEN, checkNameServers, "written by another program");
    host.file("/etc/resolv.conf", "# Generated by NetworkManager\nnameserver 192.0.2.9\n");
    expect(eHealth::BROKEN, checkNameServers, "written by NetworkManager");
    expect(eHealth::BROKEN, checkNameServers, "install systemd-resolved or resolvconf");
    // A session that is down has no servers.
    host.status(1, {{"QMI_STATE", "DISCONNECTED"}});
    expect(eHealth::FINE, checkNameServers);
}

TEST_F(DoctorNeighbours, NameServers_OfASessionOlderThanResolved_AreLost) {
    serversIn("file");
    connected();
    host.file("/run/stub", "# This file is managed by man:systemd-resolved(8). Do not edit.\n");
    resolvConfLeadsTo(host.places.at("/run/stub"));
    expect(eHealth::BROKEN, checkNameServers, "written by systemd-resolved");
}

TEST_F(DoctorNeighbours, NameServers_WithResolved_WhileTheFileLeadsThere) {
    serversIn("resolved");
    connected();
    resolvConfLeadsTo("../run/systemd/resolve/stub-resolv.conf");
    expect(eHealth::FINE, checkNameServers);
    unlink(host.places.at("/etc/resolv.conf").c_str());
    host.file("/etc/resolv.conf", "# Generated by NetworkManager\n");
    expect(eHealth::BROKEN, checkNameServers, "written by NetworkManager");
}

TEST_F(DoctorNeighbours, NameServers_WithResolvconf_WhileTheFileIsItsOwn) {
    serversIn("resolvconf");
    connected();
    const std::string head =
        "# Dynamic resolv.conf(5) file for glibc resolver(3) generated by resolvconf(8)\n";
    host.file("/etc/resolv.conf", head + "nameserver 10.0.0.1\n");
    expect(eHealth::FINE, checkNameServers);
    host.file("/etc/resolv.conf", head);
    expect(eHealth::BROKEN, checkNameServers, "written by resolvconf");
}

TEST_F(DoctorNeighbours, NameServers_NoneWanted_AreNotMissed) {
    host.file("/run/cellslot/cellint.cell1", "link down\n");
    connected();
    expect(eHealth::FINE, checkNameServers);
}

TEST_F(DoctorNeighbours, Resolver_LinkToResolvedThatDoesNotRun) {
    expect(eHealth::FINE, checkResolver);
    resolvConfLeadsTo("/run/systemd/resolve/stub-resolv.conf");
    expect(eHealth::BROKEN, checkResolver, "systemctl enable --now systemd-resolved");
    host.process(71, "/lib/systemd/systemd-resolved", "systemd-resolve");
    expect(eHealth::FINE, checkResolver);
}

TEST_F(Doctor, Command_StatusShowsWhetherSomethingIsBroken) {
    const sCommandRun run = runOn(host, {"doctor", "-p", "2", "-q"});
    EXPECT_EQ(eExitStatus::FAILED, run.status);
    EXPECT_NE(std::string::npos,
              run.out.find("slot 2\n  BROKEN  daemon     no daemon is running for slot 2\n"))
        << run.out;
    EXPECT_EQ("", run.err);
    EXPECT_FALSE(fileExists(host.places.at("/tmp/sms")));
}
