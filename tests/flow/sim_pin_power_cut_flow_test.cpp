#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <utility>
#include <vector>

#include "tests/flow/sim_pin_life_fixture.h"

// What must be on the disk before the SIM gets a PIN or PUK, so that none is repeated after a power
// cut.

namespace {

// Which files were flushed to the disk, and the error of the flush.
struct sFlushed {
    std::vector<ino_t> inodes;
    int error = 0;
    std::function<void()> hook;  // once

    bool has(const char* path) const {
        struct stat info {};
        return stat(path, &info) == 0 &&
               std::find(inodes.begin(), inodes.end(), info.st_ino) != inodes.end();
    }
};

sFlushed g_flushed;

}  // namespace

extern "C" int __real_fsync(int fd);

extern "C" int __wrap_fsync(int fd) {
    struct stat info {};
    if (fstat(fd, &info) == 0) g_flushed.inodes.push_back(info.st_ino);
    if (g_flushed.hook) std::exchange(g_flushed.hook, nullptr)();
    if (g_flushed.error == 0) return __real_fsync(fd);
    errno = g_flushed.error;
    return -1;
}

class PinOnDisk : public PinLife {
  protected:
    void SetUp() override { g_flushed = {}; }
    void TearDown() override {
        g_flushed = {};
        PinLife::TearDown();
    }
};

TEST_F(PinOnDisk, WrongPin_IsRemovedFromTheDiskToo) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "");
    EXPECT_TRUE(g_flushed.has(CURRENT));
    EXPECT_TRUE(g_flushed.has("/etc/vuk"));
}

TEST_F(PinOnDisk, PinWrittenWhileAWrongOneIsEmptied_IsSent) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    g_flushed.hook = [] { writeFile(CURRENT, "1234\n"); };
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    expectUnlocked();
}

TEST_F(PinOnDisk, RequestAndPuk_AreRemovedFromTheDiskBeforeTheyAreSent) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "disable\n");
    startWith(READY_WITH_LOCK);
    std::string awaited = "AT+CLCK=\"SC\",0,\"1234\"";
    const char* emptied = REQUEST;
    simulatedPort().onTurn([&] {
        if (simulatedPort().modem().commands().back() != awaited) return;
        awaited.clear();
        EXPECT_TRUE(g_flushed.has(emptied));
        EXPECT_TRUE(g_flushed.has("/etc/vuk"));
    });
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(awaited, "");
    g_flushed = {};
    awaited = "AT+CPIN=12345678,4321";
    emptied = PUK;
    setSim({{"lock", true}, {"verified", false}, {"pin_attempts", 0}});
    writeFile(REQUEST, "4321\n");
    writeFile(PUK, "12345678\n");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(awaited, "");
    EXPECT_EQ(readFile(CURRENT), "4321\n");
    EXPECT_TRUE(g_flushed.has(CURRENT));
}

TEST_F(PinOnDisk, ChangedPin_IsOnTheDisk) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
    EXPECT_TRUE(g_flushed.has(CURRENT));
}

TEST_F(PinOnDisk, PukThatAPowerCutMayBringBack_IsNotUsed) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}}}});
    g_flushed.error = EIO;
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot unlock SIM PUK, its file cannot be emptied");
    EXPECT_EQ(unlocksSent(), 0u);
    EXPECT_TRUE(logContains("Error: Cannot flush CPIN file /etc/vuk/cellular_puk.1, errno 5"));
}

TEST_F(PinOnDisk, FileSystemWithoutFsync_IsAccepted) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}}}});
    g_flushed.error = EINVAL;
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}
