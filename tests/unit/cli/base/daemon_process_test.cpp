#include "cli/base/daemon_process.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/temp_folder.h"

using std::string_literals::operator""s;

namespace {

// A host whose /proc contains the processes that a test puts there.
class DaemonProcess : public testing::Test {
  protected:
    DaemonProcess() {
        for (const char* folder : {"/var", "/var/run", "/proc"}) {
            mkdir(places.at(folder).c_str(), 0755);
        }
    }

    void process(int pid, const std::string& commandLine) {
        const std::string folder = places.at("/proc/" + std::to_string(pid));
        mkdir(folder.c_str(), 0755);
        writeFile(folder + "/cmdline", commandLine);
    }

    cTempFolder host;
    const sPlaces places{host.path()};
};

}  // namespace

TEST_F(DaemonProcess, NoPidFile_None) {
    EXPECT_EQ(0, recordedPid(places, 1));
    EXPECT_EQ(0, runningDaemon(places, 1));
}

TEST_F(DaemonProcess, PidFileOfALivingDaemon_ItsPid) {
    writeFile(places.at("/var/run/cellslotd.2.pid"), "4711");
    process(4711, "/usr/sbin/cellslotd\0-p\0002\0"s);
    EXPECT_EQ(4711, runningDaemon(places, 2));
    EXPECT_EQ(0, runningDaemon(places, 1));
    EXPECT_EQ(std::vector<int>{2}, runningSlots(places));
}

TEST_F(DaemonProcess, StartedWithoutAPath_Counts) {
    process(5, "cellslotd\0-h\0"s);
    EXPECT_TRUE(isDaemon(places, 5));
}

TEST_F(DaemonProcess, PidFileOfAnEndedDaemon_RecordedButNotRunning) {
    writeFile(places.at("/var/run/cellslotd.1.pid"), "4711");
    EXPECT_EQ(4711, recordedPid(places, 1));
    EXPECT_EQ(0, runningDaemon(places, 1));
}

TEST_F(DaemonProcess, NumberBelongsToAnotherProgramNow_NotRunning) {
    writeFile(places.at("/var/run/cellslotd.1.pid"), "4711");
    for (const std::string& other : {"vi\0/etc/default/cellslotd.1\0"s,
                                     "/usr/lib/cellslotd/helper\0"s, "cellslotd2\0"s, ""s}) {
        process(4711, other);
        EXPECT_EQ(0, runningDaemon(places, 1)) << other;
    }
}

TEST_F(DaemonProcess, PidFileWithoutAPid_None) {
    for (const char* content : {"", "x", "-1", "0", "99999999999999999999"}) {
        writeFile(places.at("/var/run/cellslotd.1.pid"), content);
        EXPECT_EQ(0, recordedPid(places, 1)) << content;
    }
}
