#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <nlohmann/json.hpp>

#include "cli/status/status_json.h"
#include "cli/status/status_metrics.h"
#include "platform/include/text_helpers.h"
#include "tests/unit/cli/fixture.h"

using nlohmann::json;

namespace {

std::string freshStatus(const std::string& recording, int slot = 1) {
    return withValue(recordedStatus(recording, slot), "STATS_LAST_UPDATE_E", ltos(time(nullptr)));
}

// Without its first line, which says how old the status is: between two runs a second may pass.
std::string afterFirstLine(const std::string& screen) {
    return screen.substr(screen.find('\n') + 1);
}

size_t countLines(const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
}

class StatusCommand : public testing::Test {
  protected:
    void SetUp() override {
        host.addSlot(1, "healthy");
        host.writeStatus(1, freshStatus("healthy"));
    }

    // Nothing on standard output, one line on standard error, and a status.
    void expectFailure(const std::vector<std::string>& arguments, eExitStatus status,
                       const std::string& text) {
        const sStatusRun run = host.run(arguments);
        EXPECT_EQ(run.status, status) << run.err;
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(countLines(run.err), 1u) << run.err;
        EXPECT_EQ(run.err.rfind("cellslot: ", 0), 0u) << run.err;
        EXPECT_NE(run.err.find(text), std::string::npos) << run.err;
    }

    cStatusHost host;
};

}  // namespace

TEST_F(StatusCommand, GoodSlot_IsShownWithStatus0) {
    const sStatusRun one = host.run({"status", "-p", "1"});
    EXPECT_EQ(one.status, eExitStatus::OK);
    EXPECT_EQ(one.out.rfind("Slot 1  CONNECTED", 0), 0u) << one.out;
    EXPECT_EQ(one.err, "");
    // The only slot is shown in full, named or not; several are a table.
    const sStatusRun all = host.run({"status"});
    EXPECT_EQ(all.status, eExitStatus::OK);
    EXPECT_EQ(all.out.rfind("Slot 1  CONNECTED", 0), 0u) << all.out;
    EXPECT_EQ(afterFirstLine(all.out), afterFirstLine(one.out));
    host.addSlot(2, "healthy");
    host.writeStatus(2, freshStatus("healthy", 2));
    const sStatusRun two = host.run({"status"});
    EXPECT_NE(two.out.find("\n1     CONNECTED"), std::string::npos) << two.out;
}

TEST_F(StatusCommand, UnknownSlot_IsAUsageError) {
    for (const char* slot : {"0", "4", "-1", "x", "1x"})
        expectFailure({"status", "-p", slot}, eExitStatus::USAGE, "see cellslot status --help");
    expectFailure({"status", "--json", "--metrics"}, eExitStatus::USAGE, "excludes");
}

TEST(StatusCommandAlone, NothingOnThisHost_SaysWhatToStart) {
    const sStatusRun run = cStatusHost().run({"status"});
    EXPECT_EQ(run.status, eExitStatus::NO_DAEMON);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(
        run.err,
        "cellslot: no daemon is running for any slot; to start one: systemctl start cellslotd@1\n");
}

TEST(StatusCommandAlone, NothingOnThisHost_IsAnEmptyListForPrograms) {
    const sStatusRun run = cStatusHost().run({"status", "--json"});
    EXPECT_EQ(run.status, eExitStatus::NO_DAEMON);
    EXPECT_EQ(json::parse(run.out), json({{"slots", json::array()}})) << run.out;
}

TEST_F(StatusCommand, SlotWithoutDaemonAndFile_IsNamed) {
    expectFailure({"status", "-p", "2"}, eExitStatus::NO_DAEMON,
                  "no daemon is running for slot 2; to start it: systemctl start cellslotd@2\n");
}

TEST_F(StatusCommand, FileThatCannotBeUsed_IsOneLine) {
    host.writeStatus(1, freshStatus("healthy").substr(0, 1000));
    expectFailure({"status", "-p", "1"}, eExitStatus::STALE,
                  "The status file /var/log/wireless.cardstats.1 is truncated.");
    host.writeStatus(1, "#File generated \n\x1b[2J\n");
    expectFailure({"status", "-p", "1"}, eExitStatus::STALE, "contains control characters");
}

TEST_F(StatusCommand, FileWithoutRights_SaysRunAsRoot) {
    ASSERT_EQ(chmod(host.places().root.c_str(), 0755), 0);
    ASSERT_EQ(chmod((host / "var/log/wireless.cardstats.1").c_str(), 0), 0);
    const uid_t before = geteuid();
    ASSERT_EQ(seteuid(before == 0 ? 65534 : before), 0);
    expectFailure({"status", "-p", "1"}, eExitStatus::NOT_PERMITTED, "Try: run cellslot as root");
    ASSERT_EQ(seteuid(before), 0);
}

// Before the daemon has noticed the change.
TEST_F(StatusCommand, PortThatHasJustVanished_IsAProblemAtOnce) {
    host.writeStatus(1, freshStatus("healthy"));
    EXPECT_EQ(host.run({"status", "-p", "1"}).out.find("is not there"), std::string::npos);
    ASSERT_EQ(remove((host / "dev/ttyCELL1").c_str()), 0);
    EXPECT_NE(
        host.run({"status", "-p", "1"}).out.find("! The modem's port /dev/ttyCELL1 does not exist"),
        std::string::npos);
}

TEST_F(StatusCommand, OldDataOrDeadDaemon_AreShownAndInTheExitStatus) {
    host.writeStatus(
        1, withValue(recordedStatus("healthy"), "STATS_LAST_UPDATE_E", ltos(time(nullptr) - 1000)));
    const sStatusRun stale = host.run({"status", "-p", "1"});
    EXPECT_EQ(stale.status, eExitStatus::STALE);
    EXPECT_EQ(stale.out.rfind("Slot 1  STALE", 0), 0u) << stale.out;
    host.writeStatus(1, freshStatus("healthy"));
    host.endDaemon(1);
    const sStatusRun dead = host.run({"status", "-p", "1"});
    EXPECT_EQ(dead.status, eExitStatus::NO_DAEMON);
    EXPECT_EQ(dead.out.rfind("Slot 1  NO DAEMON", 0), 0u) << dead.out;
}

TEST_F(StatusCommand, OneBadSlotOfTwo_DoesNotHideTheOther) {
    host.addSlot(2, "healthy");
    host.writeStatus(2, "");
    const sStatusRun run = host.run({"status"});
    EXPECT_EQ(run.status, eExitStatus::STALE);
    EXPECT_NE(run.out.find("\n1     CONNECTED"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("cardstats.2 is empty."), std::string::npos) << run.out;
}

TEST_F(StatusCommand, Json_ShowsTheSameForPrograms) {
    const sStatusRun run = host.run({"status", "-p", "1", "--json"});
    EXPECT_EQ(run.status, eExitStatus::OK);
    const json slot = json::parse(run.out)["slots"][0];
    EXPECT_EQ(slot["slot"], 1);
    EXPECT_EQ(slot["state"], "connected");
    EXPECT_EQ(slot["daemon_running"], true);
    EXPECT_EQ(slot["stale"], false);
    EXPECT_LE(slot["age_seconds"], 60);
    EXPECT_EQ(slot["data"]["directive"], "on");
    EXPECT_EQ(slot["signal"]["rsrp_dbm"], -98);
    EXPECT_EQ(slot["signal"]["quality"], "fair");
    EXPECT_TRUE(slot["signal"]["rscp_dbm"].is_null());
    EXPECT_EQ(slot["session"]["connected"], true);
    EXPECT_EQ(slot["session"]["seconds"], 6);
    EXPECT_EQ(slot["network"]["operator"], "AT&T");
    EXPECT_EQ(slot["sim"]["pin_attempts"], 3);
    EXPECT_EQ(slot["sms"]["sent"], 0);
    EXPECT_EQ(slot["modem"]["temperature_c"], 28);
}

TEST_F(StatusCommand, DaemonThatWasKilled_ProgramsSeeNoSession) {
    host.endDaemon(1);
    const json session = json::parse(host.run({"status", "--json"}).out)["slots"][0]["session"];
    EXPECT_EQ(session["connected"], false);
    EXPECT_TRUE(session["seconds"].is_null());
    const std::string text = statusMetrics({host.report(1)});
    EXPECT_NE(text.find("session_connected{slot=\"1\"} 0\n"), std::string::npos) << text;
    EXPECT_NE(text.find("session_duration_seconds{slot=\"1\"} 0\n"), std::string::npos) << text;
}

TEST_F(StatusCommand, JsonOfABrokenFile_SaysWhatIsWrong) {
    host.writeStatus(1, "");
    const sStatusRun run = host.run({"status", "-p", "1", "--json"});
    EXPECT_EQ(run.status, eExitStatus::STALE);
    const json slot = json::parse(run.out)["slots"][0];
    EXPECT_EQ(slot["state"], "no_data");
    EXPECT_EQ(slot["problems"][0]["id"], "status_file");
    EXPECT_FALSE(slot.contains("signal"));
}

TEST_F(StatusCommand, JsonWithStrangeBytes_IsStillJsonAndHidesThePin) {
    std::string status = withValue(freshStatus("pin_locked"), "CARRIER", "T\xe9l\"\\\xff");
    host.writeStatus(1, status);
    const sStatusRun run = host.run({"status", "--json"});
    const json slot = json::parse(run.out)["slots"][0];
    EXPECT_EQ(slot["network"]["operator"], "T\xc3\xa9l\"\\\xc3\xbf");
    EXPECT_EQ(slot["sim"]["pin_report"], "Error: Unable to unlock SIM PIN, bad password '****'");
    EXPECT_EQ(slot["problems"][0]["id"], "sim_pin");
    EXPECT_EQ(run.out.find("9999"), std::string::npos);
}

TEST_F(StatusCommand, Metrics_HaveHelpTypeAndASeriesPerSlot) {
    host.addSlot(2, "no_sim");
    const std::string text = statusMetrics({host.report(1), host.report(2, 30)});
    const std::vector<std::string> expected = {
        "# HELP cellslot_signal_rsrp_dbm Reference signal received power (LTE).\n"
        "# TYPE cellslot_signal_rsrp_dbm gauge\n"
        "cellslot_signal_rsrp_dbm{slot=\"1\"} -98\n#",  // no SIM, no series
        "# TYPE cellslot_sim_ready gauge\n"
        "cellslot_sim_ready{slot=\"1\"} 1\ncellslot_sim_ready{slot=\"2\"} 0\n",
        "cellslot_status_age_seconds{slot=\"2\"} 30\n",
        "cellslot_session_connected{slot=\"1\"} 1\ncellslot_session_connected{slot=\"2\"} 0\n",
        "cellslot_network_info{slot=\"1\",operator=\"AT&T\",plmn=\"310410\",technology=\"LTE\","
        "band=\"4\"} 1\n",
        "# TYPE cellslot_sms_sent_total counter\n",
    };
    for (const std::string& part : expected)
        EXPECT_NE(text.find(part), std::string::npos) << part << text;
}

TEST_F(StatusCommand, MetricsOfABrokenFile_ShowOnlyThatItIsBroken) {
    host.writeStatus(1, "");
    const std::string text = statusMetrics({host.report(1)});
    EXPECT_NE(text.find("cellslot_status_valid{slot=\"1\"} 0\n"), std::string::npos);
    EXPECT_EQ(text.find("cellslot_signal"), std::string::npos);
    EXPECT_EQ(text.find("cellslot_session"), std::string::npos);
}

TEST_F(StatusCommand, MetricsWithStrangeBytes_AreEscaped) {
    host.writeStatus(1, withValue(recordedStatus("healthy"), "CARRIER", "a\"b\\c\xe9"));
    const std::string text = statusMetrics({host.report(1)});
    EXPECT_NE(text.find("operator=\"a\\\"b\\\\c\xc3\xa9\","), std::string::npos) << text;
}

TEST_F(StatusCommand, MetricsWithHugeNumbers_KeepTheirFormat) {
    host.writeStatus(1, withValue(recordedStatus("healthy"), "SMS_SENT", "9223372036854775807"));
    const std::string text = statusMetrics({host.report(1)});
    EXPECT_NE(text.find("sent_total{slot=\"1\"} 9223372036854775808\n"), std::string::npos) << text;
}
