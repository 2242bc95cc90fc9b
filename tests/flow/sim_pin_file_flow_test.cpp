#include "tests/flow/sim_pin_life_fixture.h"

// Which changes of the PIN file count as a new PIN.

TEST_F(PinLife, FileWithTheSameContent_IsNewAfterEachWriting) {
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

TEST_F(PinLife, FileRewrittenInPlaceWithinASecond_IsRecognisedByTheNanoseconds) {
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

TEST_F(PinLife, FileWhoseModeChanges_IsNotNew) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", "error");
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_CPIN_FAILED);
    ASSERT_EQ(chmod(CURRENT, 0640), 0);
    expectNotSent();
    startAgain();
    expectNotSent();
}

// The clock of a file system ticks every few milliseconds, so two writings can have the same time.
TEST_F(PinLife, FileRewrittenWithTheSameTimeDuringTheCommand_IsNew) {
    writeFile(CURRENT, "9999\n");
    struct stat before {};
    ASSERT_EQ(stat(CURRENT, &before), 0);
    startWith(LOCKED);
    bool isWritten = false;
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
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
    simulatedPort().onTurn([&] {
        const std::vector<std::string> sent = simulatedPort().modem().commands();
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
