#include "cli/status/status_screen.h"

#include <gtest/gtest.h>

#include "cli/base/display_text.h"
#include "tests/support/recorded_text.h"
#include "tests/unit/cli/fixture.h"

namespace {

class StatusScreen : public testing::Test {
  protected:
    // Compares the screen of slot 1 for a recording with the text file next to it.
    void expectScreen(const std::string& recording, const std::string& screen) {
        host.writeStatus(1, recordedStatus(recording));
        expectSlot(host.report(1), screen);
    }

    void expectSlot(const sSlotReport& report, const std::string& screen) {
        const tLines lines = slotScreen(report);
        expectRecorded("status/" + screen + ".screen", joinLines(lines));
        for (const std::string& line : lines)
            EXPECT_LE(displayWidth(line), SCREEN_WIDTH) << line;
        EXPECT_LE(lines.size(), 23u);  // with the prompt on a terminal of 24 lines
    }

    void SetUp() override { host.addSlot(1, "healthy"); }

    cStatusHost host;
};

}  // namespace

TEST_F(StatusScreen, Healthy_NothingIsWrong) {
    expectScreen("healthy", "healthy");
}

TEST_F(StatusScreen, LongLine_KeepsEachValueWithItsLabel) {
    host.writeStatus(1, withValue(recordedStatus("healthy"), "FIRMWARE_V", "20.00.402-B012"));
    const std::string screen = joinLines(slotScreen(host.report(1)));
    EXPECT_NE(screen.find("\n             IMEI 356938035643809\n"), std::string::npos) << screen;
}

TEST_F(StatusScreen, Wcdma_ShowsItsOwnValues) {
    expectScreen("wcdma", "wcdma");
}

TEST_F(StatusScreen, PinRefused_SaysHowManyAttemptsAndNotThePin) {
    expectScreen("pin_locked", "pin_locked");
    EXPECT_EQ(joinLines(slotScreen(host.report(1))).find("9999"), std::string::npos);
}

TEST_F(StatusScreen, PinMissing_SaysHowToEnterIt) {
    host.writeStatus(1,
                     withValue(withValue(recordedStatus("pin_locked"), "SIM_EXTENDED_STATUS", ""),
                               "SIM_REMAIN_CPIN", "3"));
    expectSlot(host.report(1), "pin_missing");
}

TEST_F(StatusScreen, PukLocked_SaysHowToEnterThePuk) {
    expectScreen("puk_locked", "puk_locked");
}

TEST_F(StatusScreen, UnreadableIccid_IsExplainedInItsPlace) {
    host.writeStatus(1, withValue(recordedStatus("healthy"), "SIM_ID", std::string(22, '0')));
    const std::string screen = joinLines(slotScreen(host.report(1)));
    EXPECT_NE(screen.find("\nSIM          ready, AT&T, ICCID not published (a filler F?), number "),
              std::string::npos)
        << screen;
}

TEST_F(StatusScreen, NetworkMaskThatCannotBeUsed_IsNamedWithTheFailure) {
    host.writeStatus(1, withValue(withValue(recordedStatus("healthy"), "QMI_STATE", "DISCONNECTED"),
                                  "LAST_CONNECT_ERROR_E", "207"));
    const std::string screen = joinLines(slotScreen(host.report(1)));
    EXPECT_NE(screen.find("255.255.255.255"), std::string::npos) << screen;
    EXPECT_NE(screen.find("cellslot doctor --ask-modem"), std::string::npos) << screen;
}

TEST_F(StatusScreen, NoSim_SaysSo) {
    expectScreen("no_sim", "no_sim");
}

TEST_F(StatusScreen, RoamingForbidden_NamesTheSetting) {
    host.configure(1, "CM_ENABLE_INTERFACE=yes\nCM_ROAMING=home\n");
    expectScreen("roaming", "roaming_refused");
}

TEST_F(StatusScreen, Searching_NamesAntennaAndSettings) {
    expectScreen("searching", "searching");
}

TEST_F(StatusScreen, Denied_SaysToAskTheOperator) {
    expectScreen("denied", "denied");
}

TEST_F(StatusScreen, SessionRefused_SaysWhatToCheck) {
    expectScreen("session_refused", "session_refused");
}

TEST_F(StatusScreen, ModemGone_NamesThePort) {
    ASSERT_EQ(remove((host / "dev/ttyCELL1").c_str()), 0);
    expectScreen("modem_gone", "modem_gone");
}

TEST_F(StatusScreen, SilentDaemon_IsStale) {
    expectSlot(host.report(1, 3600), "stale");
}

TEST_F(StatusScreen, DaemonThatWasKilled_IsNamedFirst) {
    host.endDaemon(1);
    expectSlot(host.report(1, 8040), "daemon_killed");
}

TEST_F(StatusScreen, DataSwitchedOff_IsNamedAndIsNoError) {
    host.configure(1, "CM_ENABLE_INTERFACE=no\n");
    host.writeStatus(1, withValue(recordedStatus("healthy"), "QMI_STATE", "DISCONNECTED"));
    expectSlot(host.report(1), "data_off");
}

TEST_F(StatusScreen, ThreeSlots_ProblemsAreAboveTheTable) {
    host.addSlot(2, "pin_locked");
    host.addSlot(3, "healthy");
    host.endDaemon(3);
    const tLines lines = slotsScreen({host.report(1), host.report(2), host.report(3, 7200)});
    expectRecorded("status/three_slots.screen", joinLines(lines));
    for (const std::string& line : lines)
        EXPECT_LE(displayWidth(line), SCREEN_WIDTH) << line;
}

TEST_F(StatusScreen, TableOfLongNamesAndAges_LosesNeitherBandNorAge) {
    host.writeStatus(
        1, withValue(withValue(recordedStatus("healthy"), "CARRIER", "Vodafone Italia"), "BAND",
                     "20"));
    host.endDaemon(1);
    const std::string dead = slotsTable({host.report(1, 12 * 3600 + 14 * 60)}).back();
    EXPECT_NE(dead.find("  Vodafone~, LTE B20  ["), std::string::npos) << dead;
    EXPECT_NE(dead.find("  12 h 14 min"), std::string::npos) << dead;
    host.startDaemon(1);
    const std::string ahead = slotsTable({host.report(1, -60)}).back();
    EXPECT_NE(ahead.find("  future"), std::string::npos) << ahead;
    host.writeStatus(1,
                     withValue(recordedStatus("healthy"), "SERVICE_TYPE", std::string(256, 'T')));
    const std::string wide = slotsTable({host.report(1)}).back();
    EXPECT_LE(displayWidth(wide), SCREEN_WIDTH);
    EXPECT_NE(wide.find("  " + std::string(17, 'T') + "~  "), std::string::npos) << wide;
}

TEST_F(StatusScreen, StrangeBytesInNames_AreHarmlessAndStayInTheirColumns) {
    std::string status = withValue(recordedStatus("healthy"), "CARRIER", "T\xe9l\x9b");
    status = withValue(status, "MODEL", std::string(256, 'M'));
    host.writeStatus(1, status);
    const std::string screen = joinLines(slotScreen(host.report(1)));
    EXPECT_NE(screen.find("T\xc3\xa9l? (310410)"), std::string::npos) << screen;
    for (const std::string& line : slotScreen(host.report(1)))
        EXPECT_LE(displayWidth(line), SCREEN_WIDTH) << line;
    EXPECT_NE(joinLines(slotsScreen({host.report(1)})).find("T\xc3\xa9l?, LTE B4 "),
              std::string::npos);
}
