#include "agent/change_watch.h"

#include <gtest/gtest.h>

#include "agent/change_record.h"
#include "cli/base/utc_time.h"
#include "tests/unit/cli/fixture.h"

namespace {

using eNeed = cChangeWatch::eNeed;

// A change of slot 1 that the daemon took 1,000 s after the start of the host.
class ChangeWatch : public testing::Test {
  protected:
    static constexpr long long TAKEN_S = 1000;

    ChangeWatch() {
        host.addSlot(1, "healthy");
        host.startDaemon(1);
        command.id = record.id = "c1";
        record.path = "/etc/vuk/cellular1.conf";
        record.slot = 1;
        record.wasConnected = true;
        record.phase = ePhase::TAKEN;
        record.takenS = TAKEN_S;
        writeChange(host.places(), record);
    }
    // The status was written ageS ago.
    eNeed look(long long runS, long long ageS) {
        return watch.look(host.places(), command, host.report(1, ageS), runS);
    }

    cStatusHost host;
    sChangeRecord record;
    sCommand command;
    cChangeWatch watch;
};

}  // namespace

TEST_F(ChangeWatch, StatusOfBefore_IsNoReasonForANewConnection) {
    EXPECT_EQ(look(TAKEN_S + 1, 1), eNeed::SAY_STARTED);
    watch.noteStarted();
    EXPECT_EQ(look(TAKEN_S + 1, 1), eNeed::NOTHING);
    EXPECT_EQ(look(TAKEN_S + 20, 20), eNeed::NOTHING);
    EXPECT_EQ(look(TAKEN_S + 20, 5), eNeed::RENEW);
}

// A set-up with the new file, which may take long, still shows the session of the old one as
// connected.
TEST_F(ChangeWatch, SessionOfBeforeTheSetUp_IsNoReasonForANewConnection) {
    const std::string connected = readFile(host / "var/log/wireless.cardstats.1");
    const std::string key = "QMI_CALL_TIME=6\n";
    const size_t at = connected.find(key);
    ASSERT_NE(at, std::string::npos);
    std::string setsUp = connected;
    host.writeStatus(1, setsUp.replace(at, key.size(), "QMI_CALL_TIME=0\n"));
    ASSERT_TRUE(host.report(1).isConnected());
    look(TAKEN_S + 20, 5);
    watch.noteStarted();
    EXPECT_EQ(look(TAKEN_S + 20, 5), eNeed::NOTHING);
    host.writeStatus(1, connected);
    EXPECT_EQ(look(TAKEN_S + 21, 5), eNeed::RENEW);
}

// The reports of the fixture are of the same day, whatever the clock said when the change began.
TEST_F(ChangeWatch, ClockIsBehindAfterAStartOfTheHost_NewConnectionAllTheSame) {
    record.takenS = 0;
    record.boots = 1;
    writeChange(host.places(), record);
    watch.noteStarted();
    look(30, 5);
    watch.noteStarted();
    EXPECT_EQ(look(30, 5), eNeed::RENEW);
}

TEST_F(ChangeWatch, StatusIsOfTheFuture_WaitsForTheNext) {
    look(TAKEN_S + 1, 1);
    watch.noteStarted();
    EXPECT_EQ(look(TAKEN_S + 20, -3600), eNeed::NOTHING);
}

TEST_F(ChangeWatch, BrokerHasAnsweredOverTheNewConnection_IsConfirmedOnce) {
    look(TAKEN_S + 20, 5);
    watch.noteStarted();
    ASSERT_EQ(look(TAKEN_S + 20, 5), eNeed::RENEW);
    watch.noteAnswered();
    watch.noteRenewed();
    watch.noteAnswered();
    EXPECT_EQ(look(TAKEN_S + 20, 5), eNeed::NOTHING) << "an answer over the old one";
    watch.noteUp();
    watch.noteAnswered();
    EXPECT_EQ(look(TAKEN_S + 21, 5), eNeed::CONFIRM);
    watch.noteConfirmed(true);
    EXPECT_EQ(look(TAKEN_S + 22, 5), eNeed::NOTHING);
}

TEST_F(ChangeWatch, Ended_OutcomeIsWhatTheFileSays) {
    const std::pair<eChangeEnd, eResult> ends[] = {{eChangeEnd::CONFIRMED, eResult::CONFIRMED},
                                                   {eChangeEnd::ROLLED_BACK, eResult::ROLLED_BACK},
                                                   {eChangeEnd::NEW_FILE_STAYS, eResult::FAILED}};
    for (const auto& [end, result] : ends) {
        writeChangeOutcome(host.places(), {"c1", end, "why"});
        EXPECT_EQ(look(TAKEN_S, 1), eNeed::END);
        EXPECT_EQ(watch.outcome().status, result);
    }
}

TEST_F(ChangeWatch, NothingIsPending_IsInterrupted) {
    removeChange(host.places());
    EXPECT_EQ(look(TAKEN_S, 1), eNeed::END);
    EXPECT_EQ(watch.outcome().status, eResult::INTERRUPTED);
}
