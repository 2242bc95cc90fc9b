#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "include/signal_flags.h"
#include "platform/include/key_value_store.h"
#include "sms/sms.h"
#include "tests/support/mounted_folder.h"
#include "tests/support/whole_daemon.h"

// The host runs out of a resource while the daemon runs, and gets it back: the daemon logs it, the
// loop goes on, and afterwards everything works again.

namespace {

bool g_forkFails = false;

}  // namespace

extern "C" {
int __real_system(const char* command);
pid_t __real_fork();
int __wrap_system(const char* command);
pid_t __wrap_fork();
}

// The C library returns -1 if it cannot create the process for the shell.
int __wrap_system(const char* command) {
    if (!g_forkFails) return __real_system(command);
    errno = EAGAIN;
    return -1;
}

pid_t __wrap_fork() {
    if (!g_forkFails) return __real_fork();
    errno = EAGAIN;
    return -1;
}

namespace {

constexpr double MISSED_S = 20;  // start of the shortage, well after the connection
constexpr double LOOK_S = 58;
constexpr double BACK_S = 60;
constexpr double WELL_S = 110;

// A small file system mounted over a folder.
class cSmallDisk : private cMountedFolder {
  public:
    using cMountedFolder::cMountedFolder;

    void fill() const {
        const int file = open((folder() + "/ballast").c_str(), O_WRONLY | O_CREAT, 0600);
        const std::string block(4096, 'x');
        while (write(file, block.data(), block.size()) > 0) {
        }
        close(file);
        struct statvfs info {};
        EXPECT_EQ(statvfs(folder().c_str(), &info), 0);
        EXPECT_EQ(info.f_bfree, 0U);
    }
    void useUpNames() const {
        std::filesystem::create_directory(folder() + "/ballast");
        for (int i = 0;; ++i) {
            const std::string path = folder() + "/ballast/" + std::to_string(i);
            const int file = open(path.c_str(), O_WRONLY | O_CREAT, 0600);
            if (file == -1) return;
            close(file);
        }
    }
    void clear() const { std::filesystem::remove_all(folder() + "/ballast"); }
    void setReadOnly(bool readOnly) const {
        const unsigned long flags = readOnly ? MS_REMOUNT | MS_RDONLY : MS_REMOUNT;
        EXPECT_EQ(mount("tmpfs", folder().c_str(), "tmpfs", flags, nullptr), 0);
    }
};

class Resources : public cWholeDaemon {
  protected:
    ~Resources() override { g_forkFails = false; }

    void inject(const std::string& text) {
        order({{"op", "inject-sms"}, {"from", "22255"}, {"text", text}});
    }

    static size_t messages() {
        size_t count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/tmp/sms/recv"))
            count += entry.is_regular_file() ? 1 : 0;
        return count;
    }

    // Runs with a shortage for a while. Time passes only while the daemon sleeps, so the time shows
    // that the loop goes on.
    void missFor(const std::function<void()>& take, const std::function<void()>& giveBack) {
        at(MISSED_S, [&] {
            EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "CONNECTED");
            clearCapturedLog();
            take();
        });
        at(BACK_S, giveBack);
        at(WELL_S, [] {
            EXPECT_EQ(statusOf("_QMI_STATE"), "CONNECTED");
            EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "CONNECTED");
            EXPECT_EQ(statusOf("_STATS_LAST_UPDATE_E"), stored("CELLMODEM1_STATS_LAST_UPDATE_E"));
        });
        EXPECT_EQ(run(WELL_S + 5), 2);
    }
};

}  // namespace

TEST_F(Resources, FullDiskUnderTheStatusFiles_IsLoggedAndRecovers) {
    const cSmallDisk disk("/var/log", "size=128k");
    startOnTerminal();
    at(LOOK_S, [] {
        EXPECT_EQ(logCount("Error: Cannot write file /var/log/wireless.cardstats.1, errno 28 (No "
                           "space left on device)"),
                  1U)
            << "once, not every two seconds";
        EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "CONNECTED");
        for (const auto& entry : std::filesystem::directory_iterator("/var/log"))
            EXPECT_EQ(entry.path().string().find(".cellslot-tmp-"), std::string::npos);
    });
    missFor([&] { disk.fill(); }, [&] { disk.clear(); });
}

TEST_F(Resources, NoMoreInodesUnderTheStatusFiles_IsLoggedAndRecovers) {
    const cSmallDisk disk("/var/log", "nr_inodes=40");
    startOnTerminal();
    at(LOOK_S,
       [] { EXPECT_TRUE(logContains("/var/log/wireless.cardstats.1, errno 28 (No space")); });
    missFor([&] { disk.useUpNames(); }, [&] { disk.clear(); });
}

TEST_F(Resources, StatusFolderReadOnly_IsLoggedAndRecovers) {
    const cSmallDisk disk("/var/log", "size=1m");
    startOnTerminal();
    at(LOOK_S, [] {
        EXPECT_EQ(logCount("Error: Cannot make a temporary file for /var/log/wireless.cardstats.1, "
                           "errno 30 (Read-only file system)"),
                  1U);
    });
    missFor([&] { disk.setReadOnly(true); }, [&] { disk.setReadOnly(false); });
}

TEST_F(Resources, StatusFolderReadOnlyAtStart_ConnectsAndPublishesInTheStore) {
    const cSmallDisk disk("/var/log", "size=1m");
    disk.setReadOnly(true);
    startOnTerminal();
    at(30, [] { EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "CONNECTED"); });
    at(30.1, [&] { disk.setReadOnly(false); });
    at(40, [] { EXPECT_EQ(statusOf("_QMI_STATE"), "CONNECTED"); });
    EXPECT_EQ(run(41), 2);
}

TEST_F(Resources, FullSpool_KeepsMessagesOnTheModemUntilThereIsRoom) {
    const cSmallDisk disk("/tmp/sms", "size=64k");
    startOnTerminal();
    at(MISSED_S + 5, [this] { inject("while the disk is full"); });
    at(LOOK_S, [] {
        EXPECT_EQ(messages(), 0U);
        EXPECT_TRUE(logContains("errno 28 (No space left on device)"));
    });
    at(WELL_S, [] { EXPECT_EQ(messages(), 1U); });
    missFor([&] { disk.fill(); }, [&] { disk.clear(); });
}

TEST_F(Resources, SpoolWithoutInodes_KeepsMessagesOnTheModemUntilThereAreSome) {
    const cSmallDisk disk("/tmp/sms", "nr_inodes=30");
    startOnTerminal();
    at(MISSED_S + 5, [this] { inject("while no file can be made"); });
    at(LOOK_S, [] {
        EXPECT_EQ(messages(), 0U);
        EXPECT_TRUE(logContains("Cannot write SMS folder /tmp/sms, errno 28"));
    });
    at(WELL_S, [] { EXPECT_EQ(messages(), 1U); });
    missFor([&] { disk.useUpNames(); }, [&] { disk.clear(); });
}

TEST_F(Resources, FullDiskUnderTheStore_IsLoggedAndRecovers) {
    const cSmallDisk disk("/run/cellslot", "size=256k");
    startOnTerminal();
    at(LOOK_S, [] {
        EXPECT_EQ(statusOf("_QMI_STATE"), "CONNECTED");
        EXPECT_TRUE(logContains("Cannot write key-value store"));
    });
    missFor(
        [&] {
            disk.fill();
            // More pages than the store already has.
            for (int i = 0; i < 200; ++i)
                skvs_set(("BALLAST" + std::to_string(i)).c_str(), std::string(2000, 'x').c_str());
        },
        [&] { disk.clear(); });
}

TEST_F(Resources, DiskForTheStoreFullBeforeTheStart_ConnectsAndFillsItLater) {
    const cSmallDisk disk("/run/cellslot", "size=256k");
    disk.fill();
    startOnTerminal();
    at(30, [] { EXPECT_EQ(statusOf("_QMI_STATE"), "CONNECTED"); });
    at(30.1, [&] { disk.clear(); });
    at(40, [] { EXPECT_EQ(stored("CELLMODEM1_QMI_STATE"), "CONNECTED"); });
    EXPECT_EQ(run(41), 2);
}

TEST_F(Resources, ConfigurationFolderMissing_SimStaysLockedUntilItIsBack) {
    startOnTerminal({{"sim", {{"pin", "1234"}, {"lock", true}}}});
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
    at(LOOK_S, [] { EXPECT_EQ(statusOf("_SIM_STATUS"), "PIN Locked"); });
    missFor(
        [this] {
            std::filesystem::remove_all("/etc/vuk/cellular1.conf");
            std::filesystem::remove_all("/etc/vuk/cellular_cpin.1");
            EXPECT_EQ(umount2("/etc/vuk", MNT_DETACH), 0) << strerror(errno);
            EXPECT_EQ(rmdir("/etc/vuk"), 0) << strerror(errno);
            order({{"op", "restart"}, {"away_ms", 4000}});
        },
        [] {
            mkdir("/etc/vuk", 0755);
            writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
        });
}

TEST_F(Resources, NoMoreDescriptors_IsLoggedAndRecovers) {
    startOnTerminal();
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    at(LOOK_S, [] { EXPECT_TRUE(logContains("errno 24 (Too many open files)")); });
    missFor(
        [&] {
            // The port is already open: a time-out of the modem makes the daemon close and open it.
            rlimit none = before;
            none.rlim_cur = 3;
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        },
        [&] { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0); });
}

TEST_F(Resources, NoMoreDescriptorsWhenThePortIsOpenedAgain_IsLoggedAndRecovers) {
    startOnTerminal();
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    at(MISSED_S + 5, [this] { fault("AT", "silence"); });
    at(LOOK_S, [] { EXPECT_TRUE(logContains("Unable to open device port")); });
    missFor(
        [&] {
            rlimit none = before;
            none.rlim_cur = 3;
            EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
        },
        [&] { EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0); });
}

TEST_F(Resources, NoMoreProcesses_SessionThatCannotBeSetUpIsLoggedAndStartsLater) {
    startOnTerminal();
    at(MISSED_S + 1, [this] { order({{"op", "address"}, {"cid", 1}, {"ipv4", "10.99.1.7"}}); });
    at(LOOK_S, [] {
        EXPECT_NE(statusOf("_QMI_STATE"), "CONNECTED");
        EXPECT_TRUE(logContains("startDataSession() returned"));
    });
    missFor([] { g_forkFails = true; }, [] { g_forkFails = false; });
}

TEST_F(Resources, NoMoreProcessesAtStart_ConnectsOnceThereAreSome) {
    g_forkFails = true;
    startOnTerminal();
    at(20, [] { EXPECT_NE(statusOf("_QMI_STATE"), "CONNECTED"); });
    at(20.1, [] { g_forkFails = false; });
    at(80, [] { EXPECT_EQ(statusOf("_QMI_STATE"), "CONNECTED"); });
    EXPECT_EQ(run(81), 2);
}

TEST_F(Resources, NoMoreProcesses_SentMessageIsNotSentAgain) {
    startOnTerminal();
    at(MISSED_S + 3, [] { writeFile("/tmp/sms/send/message", "TO=+12025550123\nMSG=once\n"); });
    at(LOOK_S, [this] {
        EXPECT_FALSE(fileExists("/tmp/sms/send/message"));
        EXPECT_EQ(statusOf("_SMS_SENT"), "1");
    });
    missFor([] { g_forkFails = true; }, [] { g_forkFails = false; });
}
