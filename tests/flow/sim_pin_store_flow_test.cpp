#include <filesystem>

#include "include/device_records.h"
#include "tests/flow/sim_pin_life_fixture.h"

// The record of a PIN in the key-value store, and what happens without it.

TEST_F(PinLife, RecordIsStoredBeforeTheCommand_WithoutThePin) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    std::string atSending;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
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
    // The record contains nothing of the file's content.
    EXPECT_EQ(pinRecordText(same), stored(KEY));
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

// The record of an earlier version: the PIN was sent, with an unknown result.
TEST_F(PinLife, RecordOfAnEarlierVersion_AllowsOneSendingUnlessAnAttemptIsLost) {
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

TEST_F(PinLife, RecordOfAnEarlierVersionOnAModemWithoutAttempts_StillUnlocks) {
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

TEST_F(PinLife, EmptyStoreAfterARestartOfTheHost_AllowsOneSending) {
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

TEST_F(PinLife, EmptyStoreAfterARestartOfTheHost_SparesTheLastAttempt) {
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

// The host's clock was ahead before the restart, or is not set yet.
TEST_F(PinLife, FileFromTheFuture_IsOlderThanTheHostsStart) {
    writeFile(CURRENT, "1234\n");
    makeOld(CURRENT, time(nullptr) + 86400);
    startWith({{"sim", {{"pin", "1234"}, {"lock", true}, {"pin_attempts", 1}}}});
    expectNotSent();
}

TEST_F(PinLife, WrongPinThatIsNeverAnswered_DoesNotBlockTheSimHoweverOftenTheHostRestarts) {
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

TEST_F(PinWithoutAStore, SimWithAllItsAttempts_IsUnlockedAndTheRuleAppliesInThisRun) {
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

TEST_F(PinWithoutAStore, PinThatWasHeldBack_DoesNotCountAsSent) {
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

// Each writing is tried once; this run remembers that. The next run does not know the result.
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
