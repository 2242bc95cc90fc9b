#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <utility>

#include "platform/include/key_value_store.h"
#include "platform/include/key_value_store_path.h"
#include "platform/include/text_helpers.h"
#include "statemachine/pin_record.h"
#include "statemachine/sim_pin.h"
#include "statemachine/sim_status.h"
#include "tests/support/set_up_commands.h"

// The life of a PIN over answers, outages and starts of the daemon, against the simulated SIM.

namespace {

constexpr const char* CURRENT = "/etc/vuk/cellular_cpin.1";
constexpr const char* REQUEST = "/etc/vuk/cellular_cpin_new.1";
constexpr const char* PUK = "/etc/vuk/cellular_puk.1";
constexpr const char* STORE_FOLDER = "/run/cellslot/skvs";
constexpr const char* KEY = "CELLULAR_SLOT1_CPIN_TRIED";

const nlohmann::json LOCKED = {{"sim", {{"pin", "1234"}, {"lock", true}}}};
const nlohmann::json READY_WITH_LOCK = {
    {"sim", {{"pin", "1234"}, {"lock", true}, {"verified", true}}}};

class PinLife : public cFlowFixture {
  protected:
    void startWith(const nlohmann::json& scenario) {
        start(scenario);
        tell("AT+CMEE=1");
        getDeviceSimInfo(handle(), device.sim);
        commands();
    }
    eGeneralErrors look() { return getSimStatus(handle(), device.sim); }
    void setSim(const nlohmann::json& values) { order({{"op", "set"}, {"sim", values}}); }
    // The SIM asks for its PIN again, with these attempts left.
    void lockAgain(int attempts = 3) { setSim({{"verified", false}, {"pin_attempts", attempts}}); }
    // The daemon starts anew; files, store and SIM stay as they are.
    void startAgain() {
        resetSimPinState();
        createCpinMonitors(device.sim);
        device.sim.s_outcome.clear();
        commands();
    }
    // The host starts anew: the store is empty.
    void startHostAgain() {
        resetStoreFolder();
        startAgain();
    }
    static void resetStoreFolder() {
        std::filesystem::remove_all("/run/cellslot");
        setKeyValueStorePath(STORE_FOLDER);
    }
    // isSeen: the modem takes the command and its answer is lost; else the command is lost.
    void silence(const std::string& command, bool isSeen, int count = 1) {
        order({{"op", "fault"},
               {"match", command},
               {"kind", "silence"},
               {"count", count},
               {"execute", isSeen}});
    }
    // The pass that sends the PIN and gets no answer; the port is closed after it.
    void lookWithoutAnswer() {
        EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
        notePinOutage();
    }
    size_t unlocksSent() {
        size_t count = 0;
        for (const std::string& command : commands())
            if (startsWith(command, "AT+CPIN=")) ++count;
        return count;
    }
    // A look that must not send anything.
    void expectNotSent() {
        commands();
        EXPECT_EQ(look(), eFAILURE);
        EXPECT_EQ(unlocksSent(), 0u);
    }
    void expectUnlocked() {
        commands();
        EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
        EXPECT_EQ(unlocksSent(), 1u);
    }
    // As an editor does, with nothing changed but the time.
    static void writeAgain() {
        const std::string content = readFile(CURRENT);
        usleep(20000);  // the file system's clock ticks
        writeFile(CURRENT, content);
    }
    static void makeOld(const char* path, time_t seconds = 1000) {
        const timespec times[2] = {{seconds, 0}, {seconds, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, path, times, 0), 0);
    }
};

// What was brought to the disk, and whether the disk takes it.
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

// What ends an outage, and what begins a run.
enum class eWayBack { OUTAGE, OUTAGES, START };

class PinAfter : public PinLife, public ::testing::WithParamInterface<eWayBack> {
  protected:
    void goThrough() {
        switch (GetParam()) {
            case eWayBack::OUTAGES:
                notePinOutage();
                notePinOutage();
                [[fallthrough]];
            case eWayBack::OUTAGE:
                notePinOutage();
                break;
            case eWayBack::START:
                startAgain();
                break;
        }
    }
};

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

// ---- good ----

TEST_P(PinAfter, GoodPin_IsSentAgainEachTime) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    for (int i = 0; i < 5; ++i) {
        lockAgain();
        goThrough();
        expectUnlocked();
    }
}

TEST_P(PinAfter, GoodPinThatTheSimNeedsWithoutAnOutage_IsNotSent) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    goThrough();
    EXPECT_EQ(look(), eSUCCESS);  // ready: the outage is over
    lockAgain();
    expectNotSent();
}

TEST_P(PinAfter, GoodPinOfASimWithFewerAttempts_IsOnlySentWhenItIsWrittenAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain(2);
    goThrough();
    expectNotSent();
    EXPECT_EQ(
        device.sim.s_outcome,
        "Error: SIM PIN not sent, the SIM has 2 attempts left and had 3 when the PIN was last "
        "good; write the PIN file again to use it");
    expectNotSent();
    EXPECT_EQ(logCount(device.sim.s_outcome), 1u);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, GoodPinOfASimThatHadTwoAttempts_ComparesWithWhatItHadWhenGood) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);  // the right PIN gave it all three back
    lockAgain(2);
    goThrough();
    expectNotSent();
}

TEST_P(PinAfter, GoodPinOfASimThatReportsNoAttempts_IsSentAgainEachTime) {
    for (const char* attempts : {"none", "10", "0x3"}) {
        writeFile(CURRENT, "1234\n");
        startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", attempts}}}});
        expectUnlocked();
        for (int i = 0; i < 3; ++i) {
            setSim({{"verified", false}});
            goThrough();
            expectUnlocked();
        }
    }
}

TEST_P(PinAfter, GoodPinOfAnExchangedSim_CostsOneAttemptAndIsEmptied) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    setSim({{"pin", "5678"}, {"verified", false}});
    goThrough();
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "");
    for (int i = 0; i < 4; ++i) {
        goThrough();
        expectNotSent();
    }
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
    EXPECT_EQ(device.sim.s_outcome.empty(), false);
}

TEST_P(PinAfter, GoodPinThatIsRefusedByABusyModem_IsNotSentAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    lockAgain();
    goThrough();
    fault("AT+CPIN=1234", "cme", 14);
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    goThrough();
    expectNotSent();
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, GoodPinThatIsNotAnswered_IsSentOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    lockAgain();
    goThrough();
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    expectNotSent();
    goThrough();
    expectUnlocked();
    lockAgain();
    goThrough();
    expectUnlocked();
}

// ---- sent without an answer ----

TEST_P(PinAfter, PinThatIsNeverAnswered_IsSentOnceMoreInAll) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false, 100);
    lookWithoutAnswer();
    expectNotSent();
    goThrough();
    lookWithoutAnswer();
    EXPECT_EQ(unlocksSent(), 1u);
    for (int i = 0; i < 4; ++i) {
        goThrough();
        expectNotSent();
    }
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    order({{"op", "clear-faults"}});
    writeAgain();
    expectUnlocked();
}

TEST_P(PinAfter, PinThatWasNotAnsweredAndCostAnAttempt_IsKeptAndNotSent) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    silence("AT+CPIN=9999", true);
    lookWithoutAnswer();
    goThrough();
    expectNotSent();
    EXPECT_EQ(device.sim.s_outcome,
              "Error: SIM PIN not sent, the SIM has 2 attempts left and had 3 before the PIN was "
              "sent; write the PIN file again to use it");
    EXPECT_EQ(readFile(CURRENT), "9999\n");
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
    goThrough();
    expectNotSent();
    writeFile(CURRENT, "1234\n");
    expectUnlocked();
}

TEST_P(PinAfter, RightPinOnASimWithTwoAttempts_IsSentOnceMore) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    goThrough();
    expectUnlocked();
    EXPECT_EQ(readFile(CURRENT), "1234\n");
}

// The modem was slow, and has done it.
TEST_P(PinAfter, PinWhoseAnswerWasLostAndThatOpenedTheSim_IsGood) {
    for (const char* attempts : {"", "none", "1"}) {
        writeFile(CURRENT, "1234\n");
        startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", attempts}}}});
        silence("AT+CPIN=1234", true);
        lookWithoutAnswer();
        EXPECT_EQ(look(), eSUCCESS);
        for (int i = 0; i < 3; ++i) {
            setSim({{"verified", false}});
            goThrough();
            expectUnlocked();
        }
    }
}

TEST_P(PinAfter, SecondSendingThatOpenedTheSim_IsGoodToo) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    goThrough();
    silence("AT+CPIN=1234", true);
    lookWithoutAnswer();
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain();
    goThrough();
    expectUnlocked();
}

TEST_P(PinAfter, RefusedPin_IsNeverSentAgain) {
    for (const auto& [kind, number] : {std::pair("error", 0), std::pair("cme", 14)}) {
        writeFile(CURRENT, "1234\n");
        startWith(LOCKED);
        fault("AT+CPIN=1234", kind, number);
        EXPECT_NE(look(), eSUCCESS_DEVICE_UNLOCK);
        for (int i = 0; i < 3; ++i) {
            goThrough();
            expectNotSent();
        }
        EXPECT_EQ(readFile(CURRENT), "1234\n");
        writeAgain();
        expectUnlocked();
    }
}

TEST_P(PinAfter, WrongPin_IsEmptiedAndNothingIsSentForTheEmptyFile) {
    for (const int number : {16, 12}) {
        writeFile(CURRENT, "9999\n");
        writeFile(REQUEST, "4321\n");
        startWith(LOCKED);
        fault("AT+CPIN=9999", "cme", number);
        EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
        EXPECT_EQ(readFile(CURRENT), "");
        EXPECT_EQ(readFile(REQUEST), "");
        for (int i = 0; i < 3; ++i) {
            goThrough();
            expectNotSent();
        }
        writeFile(CURRENT, "1234\n");
        expectUnlocked();
    }
}

INSTANTIATE_TEST_SUITE_P(Each, PinAfter,
                         ::testing::Values(eWayBack::OUTAGE, eWayBack::OUTAGES, eWayBack::START),
                         [](const auto& test) {
                             switch (test.param) {
                                 case eWayBack::OUTAGE:
                                     return "Outage";
                                 case eWayBack::OUTAGES:
                                     return "Outages";
                                 case eWayBack::START:
                                     return "Start";
                             }
                             return "";
                         });

TEST_F(PinLife, CloseAfterTheSilence_IsNoOutage) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false, 100);
    EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    notePinOutage();
    for (int i = 0; i < 5; ++i)
        expectNotSent();
    notePinOutage();
    EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    notePinOutage();
    for (int i = 0; i < 5; ++i)
        expectNotSent();
}

// Known answers that the SIM itself contradicts: the command went to another one.
TEST_F(PinLife, WrongPinThatSeemedToBeAccepted_IsNotSentAgain) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    order({{"op", "fault"},
           {"match", "AT+CPIN=9999"},
           {"kind", "answer"},
           {"count", 1},
           {"execute", true}});
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    expectNotSent();
    startAgain();
    expectNotSent();
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}

// ---- the file ----

TEST_F(PinLife, FileOfTheSameContent_IsNewAfterEachWriting) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", "error", 0, 3);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_CPIN_FAILED);
        expectNotSent();
        if (i == 1) startAgain();
        writeAgain();
    }
    expectUnlocked();
}

TEST_F(PinLife, FileRewrittenInPlaceWithinASecond_IsKnownByTheNanoseconds) {
    writeFile(CURRENT, "9999\n");
    struct stat before {};
    ASSERT_EQ(stat(CURRENT, &before), 0);
    startWith(LOCKED);
    fault("AT+CPIN=9999", "error");
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_CPIN_FAILED);
    writeFile(CURRENT, "1234\n");
    const timespec later = {before.st_mtim.tv_sec, (before.st_mtim.tv_nsec + 1) % 1000000000};
    const timespec times[2] = {later, later};
    ASSERT_EQ(utimensat(AT_FDCWD, CURRENT, times, 0), 0);
    struct stat after {};
    ASSERT_EQ(stat(CURRENT, &after), 0);
    ASSERT_EQ(before.st_ino, after.st_ino);
    startAgain();
    expectUnlocked();
}

TEST_F(PinLife, FileThatOnlyGetsAnotherMode_IsNotNew) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", "error");
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_CPIN_FAILED);
    ASSERT_EQ(chmod(CURRENT, 0640), 0);
    expectNotSent();
    startAgain();
    expectNotSent();
}

// A file system's clock ticks every few milliseconds; the second writing has the first one's time.
TEST_F(PinLife, FileRewrittenUnderTheSameTimeWhileTheSimWorks_IsNew) {
    writeFile(CURRENT, "9999\n");
    struct stat before {};
    ASSERT_EQ(stat(CURRENT, &before), 0);
    startWith(LOCKED);
    bool isWritten = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPIN=9999") return;
        isWritten = true;
        writeFile(CURRENT, "1234\n");
        const timespec times[2] = {before.st_mtim, before.st_mtim};
        utimensat(AT_FDCWD, CURRENT, times, 0);
    });
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    expectUnlocked();
}

TEST_F(PinLife, PinWrittenWhileTheSimRefusesAnother_IsKeptAndSent) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    bool isWritten = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPIN=9999") return;
        isWritten = true;
        writeFile(CURRENT, "1234\n");
        writeFile(REQUEST, "4321\n");
    });
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    EXPECT_EQ(readFile(REQUEST), "4321\n");
    expectUnlocked();
}

// ---- a power cut ----

class PinOnDisk : public PinLife {
  protected:
    void SetUp() override { g_flushed = {}; }
    void TearDown() override {
        g_flushed = {};
        PinLife::TearDown();
    }
};

TEST_F(PinOnDisk, WrongPin_IsGoneFromTheDiskToo) {
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

TEST_F(PinOnDisk, RequestAndPuk_AreGoneFromTheDiskBeforeTheSimSeesThem) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "disable\n");
    startWith(READY_WITH_LOCK);
    std::string awaited = "AT+CLCK=\"SC\",0,\"1234\"";
    const char* emptied = REQUEST;
    port().onTurn([&] {
        if (port().modem().commands().back() != awaited) return;
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

TEST_F(PinOnDisk, PukThatTheDiskMayBringBack_IsNotUsed) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}}}});
    g_flushed.error = EIO;
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot unlock SIM PUK, its file cannot be emptied");
    EXPECT_EQ(unlocksSent(), 0u);
    EXPECT_TRUE(logContains("Error: Cannot flush CPIN file /etc/vuk/cellular_puk.1, errno 5"));
}

TEST_F(PinOnDisk, FileSystemThatKnowsNoFsync_IsTakenAsItIs) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}}}});
    g_flushed.error = EINVAL;
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}

// ---- the store ----

TEST_F(PinLife, RecordIsStoredBeforeTheCommand_WithoutThePin) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    std::string atSending;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (atSending.empty() && !sent.empty() && sent.back() == "AT+CPIN=1234")
            atSending = stored(KEY);
    });
    expectUnlocked();
    EXPECT_NE(atSending.find(" sent 3 1 1"), std::string::npos) << atSending;
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_NE(stored(KEY).find(" good 3 0 0"), std::string::npos) << stored(KEY);
    const sFileStamp file = fileStamp(CURRENT);
    EXPECT_EQ(parsePinRecord(stored(KEY)).file, file);
    sPinRecord same = parsePinRecord(stored(KEY));
    writeFile("/etc/vuk/other", "9876\n");
    EXPECT_EQ(pinRecordText(same), stored(KEY));  // nothing in it comes from the content
}

TEST_F(PinLife, ReadySim_WritesNothingToTheStoreOnItsPolls) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);
    skvs_set(KEY, "touched");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(stored(KEY), "touched");
}

// The note of an earlier version: the PIN was sent, and it was not learned what came of it.
TEST_F(PinLife, NoteOfAnEarlierVersion_AllowsOneSendingUnlessAnAttemptIsGone) {
    for (const int attempts : {3, 2}) {
        writeFile(CURRENT, "1234\n");
        startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", attempts}}}});
        const std::string record = pinRecordText(pinSent({}, fileStamp(CURRENT), 3, true));
        skvs_set(KEY, record.substr(0, record.find(' ')).c_str());
        startAgain();
        if (attempts == 2) {
            expectNotSent();
            EXPECT_EQ(readFile(CURRENT), "1234\n");
        } else {
            silence("AT+CPIN=1234", false);
            lookWithoutAnswer();
            startAgain();
            expectNotSent();
        }
    }
}

TEST_F(PinLife, NoteOfAnEarlierVersionOnAModemWithoutAttempts_LosesNoUnlock) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", "none"}}}});
    const std::string record = pinRecordText(pinSent({}, fileStamp(CURRENT), 3, true));
    skvs_set(KEY, record.substr(0, record.find(' ')).c_str());
    startAgain();
    expectUnlocked();
    setSim({{"verified", false}});
    startAgain();
    expectUnlocked();
}

TEST_F(PinLife, EmptyStoreAfterAStartOfTheHost_LetsTheFileBeSentOnce) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    for (const int attempts : {3, 2}) {
        makeOld(CURRENT);
        lockAgain(attempts);
        startHostAgain();
        expectUnlocked();
    }
}

TEST_F(PinLife, EmptyStoreAfterAStartOfTheHost_SparesTheLastAttempt) {
    writeFile(CURRENT, "1234\n");
    makeOld(CURRENT);
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 1}}}});
    expectNotSent();
    EXPECT_EQ(device.sim.s_outcome,
              "Error: SIM PIN not sent, the SIM has 1 attempt left and the file is older than the "
              "host's start; write the PIN file again to use it");
    startHostAgain();
    notePinOutage();
    expectNotSent();
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    writeAgain();
    expectUnlocked();
}

// The host's clock was ahead before it was started, or is not set yet.
TEST_F(PinLife, FileFromTheFuture_IsOlderThanTheHostsStart) {
    writeFile(CURRENT, "1234\n");
    makeOld(CURRENT, time(nullptr) + 86400);
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 1}}}});
    expectNotSent();
}

TEST_F(PinLife, WrongPinThatIsNeverAnswered_DoesNotBlockTheSimHoweverOftenTheHostStarts) {
    writeFile(CURRENT, "9999\n");
    makeOld(CURRENT);
    startWith(LOCKED);
    silence("AT+CPIN=9999", true, 100);
    for (int i = 0; i < 6; ++i) {
        startHostAgain();
        look();
        notePinOutage();
        notePinOutage();
        look();
    }
    EXPECT_EQ(device.sim.i_lock_class, eSIM_PIN_REQUIRED);
    EXPECT_EQ(device.sim.i_pin_attempts, 1);
}

class PinWithoutAStore : public PinLife {
  protected:
    void SetUp() override {
        std::filesystem::remove_all("/run/cellslot");
        writeFile("/run/cellslot", "in the way of the folder");
        setKeyValueStorePath(STORE_FOLDER);
    }
    void TearDown() override {
        resetStoreFolder();
        PinLife::TearDown();
    }
};

TEST_F(PinWithoutAStore, SimWithAllItsAttempts_IsUnlockedAndTheRuleHoldsInThisRun) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    silence("AT+CPIN=1234", false);
    lookWithoutAnswer();
    expectNotSent();
    notePinOutage();
    expectUnlocked();
}

TEST_F(PinWithoutAStore, StoreThatComesBack_GetsTheRecord) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    EXPECT_EQ(look(), eSUCCESS);
    resetStoreFolder();
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_NE(stored(KEY).find(" good 3 0 0"), std::string::npos) << stored(KEY);
}

TEST_F(PinWithoutAStore, SimThatMayHaveLostAttempts_IsNotSentThePin) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    for (int i = 0; i < 3; ++i)
        expectNotSent();
    EXPECT_EQ(device.sim.s_outcome,
              "Error: SIM PIN not sent, it cannot be noted in the key-value store; write the PIN "
              "file again to use it");
    EXPECT_EQ(logCount(device.sim.s_outcome), 1u);
    resetStoreFolder();
    startAgain();
    expectUnlocked();
}

TEST_F(PinWithoutAStore, PinThatWasHeldBack_IsNoPinThatWasSent) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    for (int outage = 0; outage < 3; ++outage) {
        expectNotSent();
        notePinOutage();
    }
    resetStoreFolder();
    expectUnlocked();
}

TEST_F(PinWithoutAStore, SimThatReportsNoAttempts_IsUnlockedAtEachStart) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pct_text", "none"}}}});
    for (int start = 0; start < 4; ++start) {
        expectUnlocked();
        setSim({{"verified", false}});
        expectNotSent();
        startAgain();
    }
}

// Each writing once, which this run remembers by itself; the next run does not know what came of
// it.
TEST_F(PinWithoutAStore, FileWrittenWhileTheDaemonRuns_IsTriedOnceWithFewerAttempts) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 2}}}});
    expectNotSent();
    writeAgain();
    order({{"op", "fault"},
           {"match", "AT+CPIN=1234"},
           {"kind", "cme"},
           {"number", 14},
           {"count", 1}});
    commands();
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(unlocksSent(), 1u);
    notePinOutage();
    expectNotSent();
    startAgain();
    expectNotSent();
    writeAgain();
    expectUnlocked();
}

// ---- requests ----

TEST_F(PinLife, AcceptedRequest_MakesThePinGood) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
    lockAgain();
    expectNotSent();
    startAgain();
    expectUnlocked();
    writeFile(REQUEST, "disable\n");
    EXPECT_EQ(look(), eSUCCESS);
    writeFile(REQUEST, "enable\n");
    EXPECT_EQ(look(), eSUCCESS);
    lockAgain(2);
    startAgain();
    expectNotSent();
}

TEST_F(PinLife, ChangedPinThatCannotBeWritten_LeavesTheOldOneUnused) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    const auto remount = [](unsigned long flags) {
        return mount(nullptr, "/etc/vuk", nullptr, MS_REMOUNT | MS_BIND | flags, nullptr);
    };
    bool isFull = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isFull || sent.empty() || sent.back() != "AT+CPWD=\"SC\",1234,4321") return;
        isFull = remount(MS_RDONLY) == 0;
    });
    EXPECT_EQ(look(), eSUCCESS);
    ASSERT_TRUE(isFull);
    ASSERT_EQ(remount(0), 0);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
    lockAgain();
    startAgain();
    expectNotSent();
    writeFile(CURRENT, "4321\n");
    expectUnlocked();
}

TEST_F(PinLife, RequestThatIsRefusedByABusyModem_LeavesAGoodPinGood) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    expectUnlocked();
    writeFile(REQUEST, "disable\n");
    fault("AT+CLCK=\"SC\",0,\"1234\"", "cme", 14);
    EXPECT_EQ(look(), eERROR_DEVICE_DISABLE_CPIN_FAILED);
    lockAgain();
    notePinOutage();
    expectUnlocked();
}

class UnansweredRequest
    : public PinLife,
      public ::testing::WithParamInterface<std::pair<const char*, const char*>> {};

TEST_P(UnansweredRequest, WithAWrongPin_ReadySimIsNoProofAndThePinIsNotSent) {
    const auto& [request, command] = GetParam();
    writeFile(CURRENT, "9999\n");
    writeFile(REQUEST, request);
    startWith(READY_WITH_LOCK);
    silence(command, true);
    lookWithoutAnswer();
    EXPECT_EQ(look(), eSUCCESS);  // ready as it was before
    setSim({{"verified", false}});
    startAgain();
    expectNotSent();
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}

INSTANTIATE_TEST_SUITE_P(Each, UnansweredRequest,
                         ::testing::Values(std::pair("5678", "AT+CPWD=\"SC\",9999,5678"),
                                           std::pair("disable", "AT+CLCK=\"SC\",0,\"9999\"")));

struct sOverlapCase {
    const char* name;
    const char* first;
    const char* command;
    const char* second;
    tCommands sent;
};

class RequestDuringACommand : public PinLife, public ::testing::WithParamInterface<sOverlapCase> {};

TEST_P(RequestDuringACommand, IsTakenAfterIt) {
    const sOverlapCase& test = GetParam();
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, test.first);
    startWith(READY_WITH_LOCK);
    order({{"op", "fault"},
           {"match", test.command},
           {"kind", "delay"},
           {"delay_ms", 600},
           {"count", 1}});
    bool isWritten = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isWritten || sent.empty() || sent.back() != test.command) return;
        isWritten = true;
        writeFile(REQUEST, test.second);
    });
    EXPECT_EQ(look(), eSUCCESS);
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(readFile(REQUEST), test.second);
    commands();
    EXPECT_EQ(look(), eSUCCESS);
    tCommands sent = commands();
    sent.erase(sent.begin(), sent.begin() + 10);  // two looks at the SIM
    sent.resize(test.sent.size());                // another one follows a change
    EXPECT_EQ(sent, test.sent);
    EXPECT_EQ(readFile(REQUEST), "");
    commands();
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands()));
}

INSTANTIATE_TEST_SUITE_P(Each, RequestDuringACommand,
                         ::testing::Values(sOverlapCase{"ChangeThenChange",
                                                        "4321\n",
                                                        "AT+CPWD=\"SC\",1234,4321",
                                                        "5678\n",
                                                        {"AT+CPWD=\"SC\",4321,5678"}},
                                           sOverlapCase{"ChangeThenDisable",
                                                        "4321\n",
                                                        "AT+CPWD=\"SC\",1234,4321",
                                                        "disable\n",
                                                        {"AT+CLCK=\"SC\",0,\"4321\""}},
                                           sOverlapCase{"DisableThenEnable",
                                                        "disable\n",
                                                        "AT+CLCK=\"SC\",0,\"1234\"",
                                                        "enable\n",
                                                        {"AT+CLCK=\"SC\",1,\"1234\""}}),
                         [](const auto& test) { return test.param.name; });

TEST_F(PinLife, PukWrittenDuringAChange_IsTakenWhenTheSimAsksForIt) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "4321\n");
    startWith(READY_WITH_LOCK);
    bool isWritten = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPWD=\"SC\",1234,4321") return;
        isWritten = true;
        writeFile(PUK, "12345678\n");
        writeFile(REQUEST, "8888\n");
        setSim({{"verified", false}, {"pin_attempts", 0}});
    });
    look();
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(readFile(CURRENT), "8888\n");
    EXPECT_EQ(look(), eSUCCESS);
}

TEST_F(PinLife, PukWrittenWhileTheSimRefusesAnother_IsTakenAfterIt) {
    writeFile(PUK, "87654321\n");
    writeFile(REQUEST, "4321\n");
    startWith(
        {{"sim", {{"pin", "1234"}, {"puk", "12345678"}, {"lock", true}, {"pin_attempts", 0}}}});
    bool isWritten = false;
    port().onTurn([&] {
        const std::vector<std::string> sent = port().modem().commands();
        if (isWritten || sent.empty() || sent.back() != "AT+CPIN=87654321,4321") return;
        isWritten = true;
        writeFile(REQUEST, "4321\n");
        writeFile(PUK, "12345678\n");
    });
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
    ASSERT_TRUE(isWritten);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
}
