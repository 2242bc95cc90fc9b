#include "cli/status/slot_report.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "cli/status/diagnosis.h"
#include "config/config_look.h"
#include "include/device_records.h"
#include "tests/unit/cli/fixture.h"

namespace {

constexpr uid_t NOBODY = 65534;

class SlotReport : public testing::Test {
  protected:
    void SetUp() override { host.addSlot(1, "healthy"); }

    sDataDirectiveReport data(unsigned uptimeS = LONG_UP_S) const {
        return reportSlot(host.places(), 1, {RECORDED_S, uptimeS}).data;
    }

    void touch(const std::string& path) {
        std::filesystem::create_directories(std::filesystem::path(host / path).parent_path());
        writeFile(host / path, "");
    }

    eSlotState state(long long ageS = 1) const { return diagnose(host.report(1, ageS)).state; }
    std::string firstProblem(long long ageS = 1) const {
        const sDiagnosis diagnosis = diagnose(host.report(1, ageS));
        return diagnosis.problems.empty() ? "" : diagnosis.problems.front().id;
    }

    cStatusHost host;
};

struct sSwitchCase {
    const char* config;
    eCfgDataStatus value;
    const char* why;
};

}  // namespace

TEST_F(SlotReport, Configuration_DecidesAboutData) {
    const sSwitchCase cases[] = {
        {"CM_ENABLE_INTERFACE=yes\n", eCONF_DATA_CONNECT_ENABLED,
         "CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf"},
        {"CM_ENABLE_INTERFACE=no\n", eCONF_DATA_CONNECT_DISABLED,
         "no CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf"},
        {"CM_APN=internet\n", eCONF_DATA_CONNECT_DISABLED,
         "no CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf"},
        {"CM_ENABLE_INTERFACE=off\n", eCONF_DATA_CONNECT_MODEM_OFF,
         "CM_ENABLE_INTERFACE=off in /etc/vuk/cellular1.conf"},
    };
    for (const sSwitchCase& row : cases) {
        host.configure(1, row.config);
        EXPECT_EQ(data().value, row.value) << row.config;
        EXPECT_EQ(data().why, row.why) << row.config;
    }
}

TEST_F(SlotReport, NoConfiguration_SwitchesDataOff) {
    std::filesystem::remove(host / "etc/vuk/cellular1.conf");
    EXPECT_EQ(data().value, eCONF_DATA_CONNECT_DISABLED);
    EXPECT_EQ(data().why, "/etc/vuk/cellular1.conf does not exist");
}

TEST_F(SlotReport, FileThatOnlyRootMayRead_IsTakenFromTheDaemonsReading) {
    ASSERT_EQ(chmod(host.places().root.c_str(), 0755), 0);
    ASSERT_EQ(chmod((host / "etc/vuk/cellular1.conf").c_str(), 0600), 0);
    const auto whyForNobody = [this] {
        if (geteuid() == 0 && setuid(NOBODY) != 0) return std::string("cannot become another user");
        // The owner of the file runs this test if that is not root.
        chmod((host / "etc/vuk/cellular1.conf").c_str(), 0);
        return data().why;
    };
    const auto expectWhy = [&](const std::string& why) {
        EXPECT_EXIT(exit(whyForNobody() == why ? 0 : 1), testing::ExitedWithCode(0), "") << why;
        chmod((host / "etc/vuk/cellular1.conf").c_str(), 0600);
    };
    expectWhy("cannot read /etc/vuk/cellular1.conf");
    const int pid = host.report(1).daemonPid;
    const std::string look = host.places().at(configLookPath(1));
    publishConfigLook(look, {pid, 1, eCONFIG_APPLIED, "/etc/vuk/cellular1.conf", 0, true});
    expectWhy("no CM_ENABLE_INTERFACE=yes in /etc/vuk/cellular1.conf");
    // Of a daemon that has ended.
    publishConfigLook(look, {pid + 1, 1, eCONFIG_APPLIED, "/etc/vuk/cellular1.conf", 0, true});
    expectWhy("cannot read /etc/vuk/cellular1.conf");
}

TEST_F(SlotReport, Slot1WithTheOldFileOnly_ReadsThat) {
    std::filesystem::remove(host / "etc/vuk/cellular1.conf");
    std::filesystem::create_directories(host / "etc/zoq/wireless");
    writeFile(host / "etc/zoq/wireless/cellmodem_ppp.conf", "CM_ENABLE_INTERFACE=yes\n");
    EXPECT_EQ(data().why, "CM_ENABLE_INTERFACE=yes in /etc/zoq/wireless/cellmodem_ppp.conf");
    EXPECT_EQ(host.report(2).data.configPath, "/etc/vuk/cellular2.conf");
}

TEST_F(SlotReport, OverrideFiles_FirstOneCounts) {
    touch("tmp/force_cell_tempoff.1");
    EXPECT_EQ(data().value, eCONF_DATA_CONNECT_TEMP_MODEM_OFF);
    touch("tmp/force_cell_nocon.1");
    EXPECT_EQ(data().value, eCONF_DATA_CONNECT_TEMP_DISABLED);
    EXPECT_EQ(data().why, "forced off by /tmp/force_cell_nocon.1");
    touch("tmp/force_cell_con.1");
    EXPECT_EQ(data().value, eCONF_DATA_CONNECT_TEMP_ENABLED);
    EXPECT_EQ(data().why, "forced on by /tmp/force_cell_con.1");
}

TEST_F(SlotReport, OverrideOfAnotherSlot_DoesNotCount) {
    touch("tmp/force_cell_nocon.2");
    EXPECT_EQ(data().value, eCONF_DATA_CONNECT_ENABLED);
}

TEST_F(SlotReport, BootingHost_DelaysDataButNotForever) {
    std::filesystem::remove(host / "var/run/poststart");
    EXPECT_EQ(data(180).value, eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM);
    EXPECT_EQ(data(181).value, eCONF_DATA_CONNECT_ENABLED);
    touch("var/run/poststart");
    EXPECT_EQ(data(5).value, eCONF_DATA_CONNECT_ENABLED);
    std::filesystem::remove(host / "var/run/poststart");
    host.configure(1, "CM_ENABLE_INTERFACE=no\n");
    EXPECT_EQ(data(5).value, eCONF_DATA_CONNECT_DISABLED);
}

TEST_F(SlotReport, BootingHost_IsStartingAndNoError) {
    std::filesystem::remove(host / "var/run/poststart");
    host.writeStatus(1, withValue(recordedStatus("healthy"), "QMI_STATE", "Unknown"));
    const sSlotReport report = reportSlot(host.places(), 1, {RECORDED_S + 1, 60});
    const sDiagnosis diagnosis = diagnose(report);
    EXPECT_EQ(diagnosis.state, eSlotState::STARTING);
    EXPECT_STREQ(diagnosis.problems.front().id, "booting");
}

TEST_F(SlotReport, Age_MakesItStaleOrReportsTheClock) {
    EXPECT_EQ(state(90), eSlotState::CONNECTED);
    EXPECT_EQ(state(91), eSlotState::STALE);
    EXPECT_EQ(firstProblem(91), "stale");
    EXPECT_EQ(state(-3600), eSlotState::CONNECTED);
    EXPECT_EQ(firstProblem(-3600), "clock");
    EXPECT_EQ(firstProblem(-11), "clock");
    EXPECT_EQ(firstProblem(-10), "");
    EXPECT_EQ(firstProblem(0), "");
}

TEST_F(SlotReport, DaemonWithoutFile_IsStarting) {
    std::filesystem::remove((host / "var/log/wireless.cardstats.1"));
    EXPECT_EQ(state(), eSlotState::STARTING);
    // A daemon that never publishes anything has no free space: a user who looks later must see
    // that.
    const sProblem problem = diagnose(host.report(1)).problems.front();
    EXPECT_NE(problem.mend.find("/var/log: cellslot doctor -p 1"), std::string::npos)
        << problem.mend;
    host.endDaemon(1);
    EXPECT_EQ(state(), eSlotState::NO_DAEMON);
}

TEST_F(SlotReport, ModemSwitchedOff_SaysHowToSwitchItOn) {
    std::filesystem::remove((host / "var/log/wireless.cardstats.1"));
    host.endDaemon(1);
    touch("tmp/force_cell_tempoff.1");
    const sProblem problem = diagnose(host.report(1)).problems.front();
    EXPECT_EQ(problem.what,
              "No daemon is running for slot 1, as requested: modem switched off by "
              "/tmp/force_cell_tempoff.1.");
    EXPECT_EQ(problem.mend, "cellslot data auto -p 1, then: systemctl start cellslotd@1");
}

TEST_F(SlotReport, ConnectedWithoutAddress_IsAWarning) {
    sSlotReport report = host.report(1);
    report.addresses.clear();
    EXPECT_STREQ(diagnose(report).problems.front().id, "no_address");
    EXPECT_EQ(diagnose(report).state, eSlotState::CONNECTED);
}

TEST_F(SlotReport, RegistrationLostInASession_IsAWarning) {
    std::string status = withValue(recordedStatus("healthy"), "CREG_REGISTERED", "0");
    status = withValue(status, "CREG_ABR", "Searching");
    host.writeStatus(1, status);
    EXPECT_EQ(diagnose(host.report(1)).problems.front().severity, eSeverity::WARNING);
    host.writeStatus(1, withValue(status, "QMI_STATE", "DISCONNECTED"));
    EXPECT_EQ(diagnose(host.report(1)).problems.front().severity, eSeverity::ERROR);
}

TEST_F(SlotReport, ProblemThatStopsTheSession_ComesBeforeAWarning) {
    std::string status = withValue(recordedStatus("denied"), "CURRENT_RSRP", "-120");
    status = withValue(status, "TEMPERATURE_LEVEL_E", "2");
    host.writeStatus(1, status);
    touch("tmp/force_cell_nocon.1");
    std::vector<std::string> ids;
    for (const sProblem& problem : diagnose(host.report(1)).problems)
        ids.emplace_back(problem.id);
    const std::vector<std::string> expected = {"denied", "signal_poor", "temperature", "data_off"};
    EXPECT_EQ(ids, expected);
}

TEST_F(SlotReport, OtherLocks_AreNamed) {
    host.writeStatus(
        1, withValue(recordedStatus("pin_locked"), "SIM_STATUS", "Network Personalization PIN"));
    EXPECT_EQ(firstProblem(), "sim_locked");
    host.writeStatus(1, withValue(recordedStatus("healthy"), "SIM_STATUS", "Unknown"));
    EXPECT_EQ(firstProblem(), "sim_unknown");
}

TEST_F(SlotReport, SilentModemWithPort_IsNotCalledMissing) {
    host.writeStatus(1, recordedStatus("modem_gone"));
    EXPECT_EQ(firstProblem(), "modem_silent");
}

TEST_F(SlotReport, ModemThatStopsAnsweringInASession_IsNamedAlthoughItsLastValuesAreGood) {
    const std::string status = withValue(recordedStatus("healthy"), "IMEI", IMEI_UNKNOWN);
    host.writeStatus(1, status);
    EXPECT_EQ(firstProblem(), "modem_silent");
    EXPECT_EQ(state(), eSlotState::CONNECTED);
    // Only the modem is to blame for a SIM that cannot be read then.
    host.writeStatus(1, withValue(status, "SIM_STATUS", "Unknown"));
    EXPECT_EQ(diagnose(host.report(1)).problems.size(), 1u);
}

TEST(FindSlots, FileDaemonOrConfiguration_MakeASlot) {
    cStatusHost host;
    EXPECT_EQ(findSlots(host.places()), std::vector<int>{});
    host.writeStatus(2, "");
    EXPECT_EQ(findSlots(host.places()), std::vector<int>{2});
    host.startDaemon(3);
    host.endDaemon(3);
    host.configure(1, "");
    EXPECT_EQ(findSlots(host.places()), (std::vector<int>{1, 2, 3}));
}
