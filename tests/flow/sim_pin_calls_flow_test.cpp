#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "include/debug.h"
#include "include/device_records.h"
#include "statemachine/sim_unlock.h"
#include "statemachine/timers.h"
#include "tests/flow/sim_pin_calls_fixture.h"
#include "tests/support/set_up_commands.h"
#include "tests/support/shown_case.h"

// Single operations on PIN and PUK: their guards, the commands that a check of the SIM sends, and
// what they leave in files and monitors.

namespace {

class cReadOnlyFolder {
  public:
    explicit cReadOnlyFolder(const char* folder) : m_folder(folder) { remount(MS_RDONLY); }
    ~cReadOnlyFolder() { remount(0); }
    cReadOnlyFolder(const cReadOnlyFolder&) = delete;
    cReadOnlyFolder& operator=(const cReadOnlyFolder&) = delete;

  private:
    void remount(unsigned long flags) const {
        EXPECT_EQ(mount(nullptr, m_folder, nullptr, MS_REMOUNT | MS_BIND | flags, nullptr), 0)
            << strerror(errno);
    }
    const char* m_folder;
};

}  // namespace

// ---- a check of the SIM -----------------------------------------------------------------------

TEST_F(SimPinCalls, ReadySim_IsQueriedTwiceAndNothingIsReported) {
    startWith(OPEN);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands()));
}

TEST_F(SimPinCalls, LockedSim_IsUnlockedAndQueriedAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands(), "AT+CPIN=1234", simCommands()));
    EXPECT_EQ(device.sim.i_lock_class, eSIM_READY);
    EXPECT_EQ(device.sim.s_imsi, "310410000000001");
    EXPECT_EQ(logCount("SIM PIN successfully unlocked"), 1u);
    EXPECT_EQ(look(), eSUCCESS);
}

TEST_F(SimPinCalls, BlockedSim_IsUnlockedWithItsPukAndKeepsTheNewPin) {
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    startWith(BLOCKED);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands(), "AT+CPIN=12345678,4321",
                                   simCommands(), simCommands()));
    EXPECT_GE(pauseAfter("AT+CPIN=12345678,4321"), 1000u);
    EXPECT_LT(pauseAfter("AT+CPIN=12345678,4321"), 1100u);
    EXPECT_EQ(readFile(CURRENT), "4321\n");
    // The new PIN does not count as a request afterwards ...
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands()));
    // ... and is used when the SIM is locked again.
    forgetPin();
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(unlocksSent(), 1u);
}

TEST_F(SimPinCalls, BlockedSimWithUnchangedPukFile_ReturnsTwoOnEveryPollWithoutSending) {
    startWith(BLOCKED);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
    writeFile(PUK, "1234567\n");
    writeFile(REQUEST, "4321\n");
    EXPECT_EQ(look(), eERROR_DEVICE_PUK_FORMAT_INVALID);
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, WrongPukFromTheSim_IsReturnedAsAnErrorAndNotRepeated) {
    writeFile(PUK, "87654321\n");
    writeFile(REQUEST, "4321\n");
    startWith(BLOCKED);
    EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
    EXPECT_EQ(device.sim.s_outcome, "Error: Unable to unlock SIM PUK, returned error");
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 1u);
    EXPECT_EQ(device.sim.i_puk_attempts, 9);
}

// A file that cannot be emptied would be used again at each start, until the SIM is blocked or
// lost.
TEST_F(SimPinCalls, FilesThatCannotBeEmptied_AreNotTried) {
    writeFile(CURRENT, "1234\n");
    writeFile(PUK, "87654321\n");
    writeFile(REQUEST, "4321\n");
    startWith(BLOCKED);
    {
        const cReadOnlyFolder folder("/etc/vuk");
        EXPECT_EQ(look(), eERROR_DEVICE_UNLOCK_PUK_FAILED);
        EXPECT_EQ(device.sim.s_outcome, "Error: Cannot unlock SIM PUK, its file cannot be emptied");
        EXPECT_EQ(look(), eFAILURE);
        EXPECT_EQ(unlocksSent(), 0u);
    }
    startWith(READY_WITH_LOCK);
    createCpinMonitors(device.sim);
    for (const auto& [request, problem] :
         {std::pair("4321\n", "the new CPIN cannot be noted in its folder"),
          std::pair("disable\n", "the file of the request cannot be emptied")}) {
        writeFile(REQUEST, request);
        const cReadOnlyFolder folder("/etc/vuk");
        EXPECT_EQ(manage(), eERROR_DEVICE_SET_CPIN_FAILED);
        EXPECT_EQ(device.sim.s_outcome, std::string("Error: Cannot change SIM CPIN, ") + problem);
        EXPECT_EQ(manage(), eSUCCESS);
        EXPECT_EQ(commands(), tCommands());
    }
}

TEST_F(SimPinCalls, SimInAnUnknownState_IsNotChanged) {
    writeFile(CURRENT, "1234\n");
    startWith({{"sim", {{"cpin_text", "BUSY"}}}});
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(device.sim.i_lock_class, eSIM_LOCK_UNKNOWN);
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, SilentSim_IsATimeOutBeforeAnyPolicyRuns) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    for (const size_t skip : {size_t{0}, size_t{1}}) {
        order({{"op", "fault"},
               {"match", "AT#QSS?"},
               {"kind", "silence"},
               {"skip", skip},
               {"count", 1}});
        EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    }
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, UnlockThatIsNotAnswered_IsATimeOut) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", "silence");
    EXPECT_EQ(look(), eERROR_DEVICE_RESPONSE_TIMEOUT);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
}

TEST_F(SimPinCalls, MissingSim_RequestsAResetAfterTenMinutesUntilItAppears) {
    start({{"sim", {{"present", false}}}});
    EXPECT_EQ(look(), eSUCCESS);
    passSeconds(599);
    EXPECT_EQ(look(), eSUCCESS);
    passSeconds(1);
    EXPECT_EQ(look(), eERROR_DEVICE_REQUIRES_RESET);
    passSeconds(300);
    EXPECT_EQ(look(), eERROR_DEVICE_REQUIRES_RESET);
    EXPECT_EQ(logCount("SIM not detected after 15 minutes, device requires reset"), 1u);
    EXPECT_EQ(logCount("Notice: SIM is missing, starting timer (10 minutes)"), 1u);
    order({{"op", "set"}, {"sim", {{"present", true}}}});
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_FALSE(g_Cp_simMissingTimer->IsTimerEnabled());
}

// ---- guards -----------------------------------------------------------------------------------

TEST_F(SimPinCalls, UnlockOfAReadySim_OnlySetsAnOutcome) {
    writeFile(CURRENT, "1234\n");
    writeFile(PUK, "12345678\n");
    startWith(OPEN);
    EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), eSUCCESS);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot unlock SIM, already in a ready state");
    device.sim.s_outcome.clear();
    EXPECT_EQ(maybeUnlockSimPuk(port(), device.sim), eSUCCESS);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot unlock SIM, already in a ready state");
    EXPECT_EQ(logCount("Error: Cannot unlock SIM, already in a ready state"), 2u);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(readFile(PUK), "12345678\n");
}

TEST_F(SimPinCalls, UnlockOfTheOtherLock_IsRefused) {
    writeFile(CURRENT, "1234\n");
    writeFile(PUK, "12345678\n");
    startWith(OPEN);
    g_i_debugMode = eLOG_POLICY;
    for (const int state : {static_cast<int>(eSIM_MISSING), static_cast<int>(eSIM_PUK_REQUIRED),
                            static_cast<int>(eSIM_LOCK_UNKNOWN)}) {
        device.sim.i_lock_class = state;
        EXPECT_EQ(maybeUnlockSimPin(port(), device.sim), eERROR_DEVICE_NOT_CPIN_LOCKED);
    }
    for (const int state : {static_cast<int>(eSIM_MISSING), static_cast<int>(eSIM_PIN_REQUIRED),
                            static_cast<int>(eSIM_LOCK_UNKNOWN)}) {
        device.sim.i_lock_class = state;
        EXPECT_EQ(maybeUnlockSimPuk(port(), device.sim), eERROR_DEVICE_NOT_PUK_LOCKED);
    }
    EXPECT_EQ(
        logCount("DEBUG: maybeUnlockSimPin(): Warning: SIM is not CPIN locked, cannot unlock"), 3u);
    EXPECT_EQ(logCount("DEBUG: maybeUnlockSimPuk(): Warning: SIM is not PUK locked, cannot unlock"),
              3u);
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(readFile(PUK), "12345678\n");
}

TEST_F(SimPinCalls, WarningsThatComeWithEveryPoll_AreNoNotices) {
    startWith(LOCKED);
    clearCapturedLog();
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_FALSE(logContains("has not changed"));
    g_i_debugMode = eLOG_POLICY;
    EXPECT_EQ(look(), eFAILURE);
    device.sim.i_lock_class = eSIM_PUK_REQUIRED;
    EXPECT_EQ(maybeUnlockSimPuk(port(), device.sim), eFAILURE);
    EXPECT_EQ(
        logCount("DEBUG: maybeUnlockSimPin(): Warning: SIM locked, but CPIN file has not changed"),
        1u);
    EXPECT_EQ(logCount("DEBUG: maybeUnlockSimPuk(): Warning: SIM PUK locked, but PUK file has not "
                       "changed"),
              1u);
}

struct sFormatCase {
    const char* current;
    const char* wanted;
    const char* outcome;
};

SHOW_CASE(sFormatCase, "current '" << row.current << "', wanted '" << row.wanted << "'")

class ChangeFormat : public SimPinCalls, public ::testing::WithParamInterface<sFormatCase> {};

TEST_P(ChangeFormat, InvalidPin_IsNamedAndNothingIsSent) {
    startWith(READY_WITH_LOCK);
    device.sim.i_lock_class = eSIM_MISSING;  // the format is checked first
    EXPECT_EQ(changeCpinPassword(port(), device.sim, GetParam().current, GetParam().wanted),
              eERROR_DEVICE_CPIN_FORMAT_INVALID);
    EXPECT_EQ(device.sim.s_outcome, GetParam().outcome);
    EXPECT_TRUE(commands().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Each, ChangeFormat,
    ::testing::Values(
        sFormatCase{"", "4321", "Error: Cannot change SIM CPIN, current CPIN is empty"},
        sFormatCase{"12", "4321",
                    "Error: Cannot change SIM CPIN, current CPIN '12', not a valid format"},
        sFormatCase{"1234", "", "Error: Cannot change SIM CPIN, new CPIN is empty"},
        sFormatCase{"1234", "123456789",
                    "Error: Cannot change SIM CPIN, new CPIN '123456789', not a valid format"}));

TEST_F(SimPinCalls, LockWithAnInvalidPin_IsRefusedWithItsOwnCodes) {
    startWith(OPEN);
    EXPECT_EQ(enableCpinPassword(port(), device.sim, ""), eERROR_DEVICE_CPIN_FORMAT_INVALID);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot enable SIM CPIN, CPIN is empty");
    EXPECT_EQ(enableCpinPassword(port(), device.sim, "12x4"), eERROR_DEVICE_CPIN_FORMAT_INVALID);
    EXPECT_EQ(device.sim.s_outcome,
              "Error: Cannot enable SIM CPIN, CPIN '12x4', not a valid format");
    EXPECT_EQ(disableCpinPassword(port(), device.sim, ""), eFAILURE);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot disable SIM CPIN, CPIN is empty");
    EXPECT_EQ(disableCpinPassword(port(), device.sim, "1"), eFAILURE);
    EXPECT_EQ(device.sim.s_outcome, "Error: Cannot disable SIM CPIN, CPIN '1', not a valid format");
    EXPECT_TRUE(commands().empty());
    EXPECT_EQ(logCount("Attempting to enable SIM PIN"), 2u);
    EXPECT_EQ(logCount("Attempting to disable SIM PIN"), 2u);
}

TEST_F(SimPinCalls, SimThatIsNotReady_IsNeitherLockedNorChanged) {
    startWith(OPEN);
    device.sim.i_lock_class = eSIM_PIN_REQUIRED;
    EXPECT_EQ(enableCpinPassword(port(), device.sim, "1234"), eERROR_DEVICE_SIM_NOT_READY);
    EXPECT_EQ(device.sim.s_outcome, "Error SIM is not in a ready state, cannot enable the SIM PIN");
    EXPECT_EQ(disableCpinPassword(port(), device.sim, "1234"), eERROR_DEVICE_SIM_NOT_READY);
    EXPECT_EQ(device.sim.s_outcome,
              "Error SIM is not in a ready state, cannot disable the SIM PIN");
    EXPECT_EQ(changeCpinPassword(port(), device.sim, "1234", "4321"), eERROR_DEVICE_SIM_NOT_READY);
    EXPECT_EQ(device.sim.s_outcome, "Error SIM is not in a ready state, cannot change the SIM PIN");
    EXPECT_TRUE(commands().empty());
}

// ---- what is left in files and monitors -------------------------------------------------------

TEST_F(SimPinCalls, WrongPin_EmptiesBothFilesAndNoOther) {
    writeFile(CURRENT, "9999\n");
    writeFile(REQUEST, "4321\n");
    writeFile(PUK, "12345678\n");
    startWith(LOCKED);
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(readFile(CURRENT), "");
    EXPECT_EQ(readFile(REQUEST), "");
    EXPECT_EQ(readFile(PUK), "12345678\n");
    EXPECT_EQ(logCount("Clearing CPIN file /etc/vuk/cellular_cpin.1"), 1u);
    EXPECT_EQ(logCount("Clearing CPIN file /etc/vuk/cellular_cpin_new.1"), 1u);
    // The right PIN works at once: emptying the request file is no new request.
    writeFile(CURRENT, "1234\n");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(readFile(CURRENT), "1234\n");
}

TEST_F(SimPinCalls, FilesWrittenByTheDaemon_AreForItsUserOnly) {
    startWith(BLOCKED);
    writeFile(PUK, "12345678\n");
    writeFile(REQUEST, "4321\n");
    ASSERT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    struct stat info;
    ASSERT_EQ(stat(CURRENT, &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
}

TEST_F(SimPinCalls, AppliedRequest_CountsTheCurrentPinFileAsUsedToo) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "enable\n");
    startWith(OPEN);
    EXPECT_EQ(manage(), eSUCCESS);
    forgetPin();
    commands();
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, RequestIsRepeated_WhenItsFileIsWrittenAgain) {
    writeFile(CURRENT, "1234\n");
    writeFile(REQUEST, "enable\n");
    startWith(OPEN);
    EXPECT_EQ(look(), eSUCCESS);
    writeFile(REQUEST, "disable\n");
    commands();
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(commands(), sequence(simCommands(), simCommands(), "AT+CLCK=\"SC\",0,\"1234\""));
}

TEST_F(SimPinCalls, PinFileReplacedByRename_IsSeen) {
    startWith(LOCKED);
    EXPECT_EQ(look(), eFAILURE);
    writeFile("/etc/vuk/.new", "1234\n");
    std::filesystem::rename("/etc/vuk/.new", CURRENT);
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}

TEST_F(SimPinCalls, PinFileOfAnotherSlot_IsNotRead) {
    writeFile("/etc/vuk/cellular_cpin.2", "1234\n");
    startWith(LOCKED);
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
    EXPECT_EQ(readFile("/etc/vuk/cellular_cpin.2"), "1234\n");
}

TEST_F(SimPinCalls, FifosInPlaceOfTheFiles_NeitherHangNorUnlock) {
    for (const char* path : {CURRENT, REQUEST, PUK})
        ASSERT_EQ(mkfifo(path, 0600), 0);
    startWith(LOCKED);
    const eGeneralErrors result = look();
    EXPECT_TRUE(result == eFAILURE || result == eERROR_DEVICE_CPIN_FORMAT_INVALID) << result;
    order({{"op", "set"}, {"sim", {{"pin_attempts", 0}}}});
    look();
    order({{"op", "set"}, {"sim", {{"pin_attempts", 3}, {"lock", false}}}});
    EXPECT_EQ(look(), eSUCCESS);
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, LinkInPlaceOfAPinFile_IsNeverWrittenThrough) {
    writeFile("/storage/other", "9999\n");
    ASSERT_EQ(symlink("/storage/other", CURRENT), 0);
    startWith(LOCKED);
    look();
    EXPECT_EQ(readFile("/storage/other"), "9999\n");
}

TEST_F(SimPinCalls, MissingFolder_OnlyMeansThatThereIsNoPin) {
    std::filesystem::remove_all("/etc/vuk/sub");
    device.sim.s_cpin_path = "/etc/vuk/sub/cellular_cpin.1";
    startWith(LOCKED);
    EXPECT_EQ(look(), eFAILURE);
    std::filesystem::create_directory("/etc/vuk/sub");
    writeFile("/etc/vuk/sub/cellular_cpin.1", "1234\n");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}

// ---- a modem that was away --------------------------------------------------------------------

class RefusedPinAfterOutage : public SimPinCalls,
                              public ::testing::WithParamInterface<std::pair<const char*, int>> {};

TEST_P(RefusedPinAfterOutage, IsNeverTriedAgain) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    fault("AT+CPIN=1234", GetParam().first, GetParam().second);
    look();
    commands();
    for (int i = 0; i < 3; ++i) {
        notePinOutage();
        EXPECT_EQ(look(), eFAILURE);
    }
    EXPECT_EQ(unlocksSent(), 0u);
    // Only the administrator can request it again.
    writeFile(CURRENT, "1234\n");
    EXPECT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
}

INSTANTIATE_TEST_SUITE_P(Each, RefusedPinAfterOutage,
                         ::testing::Values(std::pair("error", 0), std::pair("cme", 14),
                                           std::pair("cme", 16)));

TEST_F(SimPinCalls, OutageBeforeTheFirstAttempt_DoesNotAllowASecondOne) {
    writeFile(CURRENT, "9999\n");
    startWith(LOCKED);
    notePinOutage();
    EXPECT_EQ(look(), eERROR_DEVICE_ENABLE_CPIN_FAILED);
    EXPECT_EQ(look(), eFAILURE);
    notePinOutage();
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 1u);
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}

TEST_F(SimPinCalls, ForeignSimAfterAnOutage_LosesOneAttemptAtMost) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    ASSERT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    order({{"op", "set"}, {"sim", {{"pin", "5678"}, {"verified", false}}}});
    for (int i = 0; i < 4; ++i) {
        notePinOutage();
        look();
    }
    EXPECT_EQ(device.sim.i_pin_attempts, 2);
}

TEST_F(SimPinCalls, OutageWithoutAPinFile_SendsNothing) {
    startWith(LOCKED);
    notePinOutage();
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
}

TEST_F(SimPinCalls, OutageThatFoundTheSimReady_AllowsNothingLater) {
    writeFile(CURRENT, "1234\n");
    startWith(LOCKED);
    ASSERT_EQ(look(), eSUCCESS_DEVICE_UNLOCK);
    notePinOutage();
    ASSERT_EQ(look(), eSUCCESS);
    forgetPin();
    commands();
    EXPECT_EQ(look(), eFAILURE);
    EXPECT_EQ(unlocksSent(), 0u);
}
