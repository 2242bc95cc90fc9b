#include <sys/stat.h>
#include <unistd.h>

#include "cli/doctor/doctor_host_checks.h"
#include "tests/unit/cli/doctor/doctor_fixture.h"

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
