#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <utility>
#include <vector>

#include "include/device_records.h"
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

TEST_F(PinOnDisk, NewPinThatCannotBeNoted_IsNotSent) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    g_flushed.error = EIO;
    EXPECT_EQ(look(), eERROR_DEVICE_SET_CPIN_FAILED);
    EXPECT_EQ(device.sim.s_outcome,
              "Error: Cannot change SIM CPIN, the new CPIN cannot be noted in its folder");
    for (const std::string& command : commands())
        EXPECT_FALSE(startsWith(command, "AT+CPWD")) << command;
}

// Power cuts at the moment of a command: the files return as they were then, the store is empty,
// and the SIM asks for its PIN.
class PinChangeAndPowerCut : public PinOnDisk {
  protected:
    ~PinChangeAndPowerCut() override { std::filesystem::remove_all(KEPT); }
    void startChange() {
        writeFile(CURRENT, "1234\n");
        writeFile(REQUEST, "4321\n");
        startWith(READY_WITH_LOCK);
    }
    // Looks until it has sent the command, and cuts the power then.
    void cutAt(const std::string& command) {
        bool isCut = false;
        simulatedPort().onTurn([&] {
            if (isCut || simulatedPort().modem().commands().back() != command) return;
            isCut = true;
            std::filesystem::remove_all(KEPT);
            std::filesystem::copy("/etc/vuk", KEPT);
        });
        look();
        simulatedPort().onTurn(nullptr);
        EXPECT_TRUE(isCut);
        for (const auto& entry : std::filesystem::directory_iterator("/etc/vuk"))
            std::filesystem::remove(entry);
        std::filesystem::copy(KEPT, "/etc/vuk");
        setSim({{"verified", false}});
        startHostAgain();
    }
    tCommands pinCommands() {
        tCommands sent;
        for (const std::string& command : commands())
            if (startsWith(command, "AT+CPIN=") || startsWith(command, "AT+CPWD="))
                sent.push_back(command);
        return sent;
    }
    nlohmann::json card() {
        return simulatedPort().modem().control({{"op", "dump"}}).at("state").at("sim");
    }
    void expectSettled(const char* pin) {
        EXPECT_EQ(readFile(CURRENT), std::string(pin) + "\n");
        EXPECT_EQ(card().at("pin"), pin);
        EXPECT_EQ(card().at("pin_attempts"), 3);
        EXPECT_FALSE(fileExists(CHANGE));
        EXPECT_EQ(readFile(REQUEST), "");
    }

    static constexpr const char* KEPT = "/tmp/kept";
    static constexpr const char* CHANGE = "/etc/vuk/cellular_cpin_change.1";
    static constexpr const char* CPWD = "AT+CPWD=\"SC\",1234,4321";
};

TEST_F(PinChangeAndPowerCut, SimHasTheNewPin_IsOpenedWithIt) {
    startChange();
    cutAt(CPWD);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321"}));
    expectSettled("4321");
}

TEST_F(PinChangeAndPowerCut, SimHasTheOldPin_IsOpenedWithItAndChanged) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin", "1234"}});
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321", "AT+CPIN=1234", CPWD}));
    expectSettled("4321");
}

TEST_F(PinChangeAndPowerCut, CutAgainAfterTheRefusal_CostsNoMoreAttempts) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin", "1234"}});
    cutAt("AT+CPIN=4321");
    EXPECT_EQ(card().at("pin_attempts"), 2);
    commands();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=1234", CPWD}));
    expectSettled("4321");
}

TEST_F(PinChangeAndPowerCut, LastAttempt_IsNotSpent) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin_attempts", 1}});
    makeOld(CURRENT);
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(pinCommands(), tCommands{});
    EXPECT_EQ(readFile(REQUEST), "4321\n") << "for whoever comes to look";
}

TEST_F(PinChangeAndPowerCut, PinWrittenByTheAdministratorMeanwhile_IsTheOneThatCounts) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin", "5555"}});
    writeFile(CURRENT, "5555\n");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=5555"}));
    expectSettled("5555");
}

TEST_F(PinChangeAndPowerCut, KilledDaemonOnTheSameHost_OpensTheSimToo) {
    startChange();
    simulatedPort().onTurn([&] {
        if (simulatedPort().modem().commands().back() != CPWD) return;
        std::filesystem::remove_all(KEPT);
        std::filesystem::copy("/etc/vuk", KEPT);
    });
    look();
    simulatedPort().onTurn(nullptr);
    for (const char* path : {CURRENT, REQUEST, CHANGE})
        std::filesystem::copy(std::string(KEPT) + std::string(path).substr(strlen("/etc/vuk")),
                              path, std::filesystem::copy_options::overwrite_existing);
    setSim({{"verified", false}, {"pin", "1234"}});
    startAgain();
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}

TEST_F(PinChangeAndPowerCut, UnansweredChange_IsFoundOutWhenTheSimAsksAgain) {
    startChange();
    silence(CPWD, true);
    lookWithoutAnswer();
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    lockAgain();
    commands();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321"}));
    expectSettled("4321");
}

TEST_F(PinChangeAndPowerCut, NewPinWithoutAnswerThatOpensTheSim_IsSettled) {
    startChange();
    cutAt(CPWD);
    silence("AT+CPIN=4321", true);
    lookWithoutAnswer();
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    EXPECT_EQ(look(), eSUCCESS);
    expectSettled("4321");
    lockAgain();
    notePinOutage();
    commands();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321"}));
}

TEST_F(PinChangeAndPowerCut, NewPinThatIsNeverAnswered_IsSentTwiceAndThenTheOldOne) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin", "1234"}});
    silence("AT+CPIN=4321", false, 9);
    lookWithoutAnswer();
    lookWithoutAnswer();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321", "AT+CPIN=4321", "AT+CPIN=1234"}));
    EXPECT_EQ(look(), eSUCCESS);
    expectSettled("4321");
}

// As after a power cut that damaged the file system.
TEST_F(PinChangeAndPowerCut, DiskCanOnlyBeRead_EachPinIsSentOnce) {
    startChange();
    cutAt(CPWD);
    setSim({{"pin", "1234"}});
    ASSERT_EQ(mount("/etc/vuk", "/etc/vuk", nullptr, MS_BIND, nullptr), 0);
    ASSERT_EQ(mount(nullptr, "/etc/vuk", nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    lockAgain();
    EXPECT_EQ(look(), eFAILURE) << "no outage";
    notePinOutage();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321", "AT+CPIN=1234", "AT+CPIN=1234"}));
    umount("/etc/vuk");
    EXPECT_TRUE(fileExists(CHANGE));
}

TEST_F(PinChangeAndPowerCut, NoteOfTheChange_IsForTheDaemonAlone) {
    startChange();
    cutAt(CPWD);
    struct stat info {};
    ASSERT_EQ(stat(CHANGE, &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600U);
    EXPECT_EQ(readFile(CHANGE), "1234\n4321\n3\n");
    EXPECT_EQ(readFile(REQUEST), "");
}

TEST_F(PinChangeAndPowerCut, PukThatSetTheNewPin_IsFollowedByIt) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith(BLOCKED);
    cutAt("AT+CPIN=12345678,4321");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(pinCommands(), (tCommands{"AT+CPIN=4321"}));
    EXPECT_EQ(readFile(CURRENT), "4321\n");
}

TEST_F(PinChangeAndPowerCut, BrokenNoteOfAChange_IsIgnored) {
    for (const char* text : {"", "1234", "1234\n", "1234\n4321\n", "1234\nabcd\n3\n", "\n\n\n"}) {
        writeFile(CURRENT, "1234\n");
        startWith(LOCKED);
        writeFile(CHANGE, text);
        EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK) << text;
        EXPECT_FALSE(fileExists(CHANGE)) << text;
        startHostAgain();
    }
}

TEST_F(PinOnDisk, FileSystemWithoutFsync_IsAccepted) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}}}});
    g_flushed.error = EINVAL;
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}
