#include "web/live_status.h"

#include <gtest/gtest.h>

#include "tests/unit/cli/fixture.h"

namespace {

class LiveStatus : public testing::Test {
  protected:
    void SetUp() override { host.addSlot(1, "healthy"); }

    void look(long long ageS = 1) { live.update({host.report(1, ageS)}); }
    std::string next() {
        const cLiveStatus::tMessage message = live.next(position);
        return message == nullptr ? "" : *message;
    }

    cStatusHost host;
    cLiveStatus live;
    cLiveStatus::sPosition position;
};

bool isStatus(const std::string& message) {
    return message.find("event: status\ndata: {\"slots\":[{\"slot\":1,") == 0 &&
           message.find('\n', message.find("data:")) == message.size() - 2;
}

}  // namespace

TEST_F(LiveStatus, NewReader_GetsTheWholeStatusInOneLine) {
    look();
    EXPECT_TRUE(isStatus(next()));
    EXPECT_EQ(next(), "");
}

TEST_F(LiveStatus, PassingTime_IsNoNews) {
    look();
    next();
    look(2);
    EXPECT_EQ(next(), "");
}

TEST_F(LiveStatus, StatusWrittenAgain_SendsTheAgeAlone) {
    look();
    next();
    host.writeStatus(
        1, withValue(withValue(recordedStatus("healthy"), "STATS_LAST_UPDATE_E", "1795246940"),
                     "QMI_CALL_TIME", "9"));
    look(3);
    EXPECT_EQ(next(),
              "event: age\ndata: {\"slots\":[{\"slot\":1,\"age_seconds\":1,\"seconds\":9}]}\n\n");
    EXPECT_EQ(next(), "");
}

TEST_F(LiveStatus, ChangedValue_SendsTheWholeStatus) {
    look();
    next();
    host.writeStatus(1, withValue(recordedStatus("healthy"), "CURRENT_RSRP", "-120"));
    look();
    const std::string message = next();
    EXPECT_TRUE(isStatus(message));
    EXPECT_NE(message.find("\"rsrp_dbm\":-120"), std::string::npos);
}

TEST_F(LiveStatus, DaemonThatHangs_IsTroubleOnceThenEveryTenSeconds) {
    look();
    next();
    look(91);
    EXPECT_NE(next().find("\"stale\""), std::string::npos);
    look(95);
    EXPECT_EQ(next(), "");
    look(101);
    EXPECT_TRUE(isStatus(next()));
}

TEST_F(LiveStatus, SlowReader_GetsOnlyTheLatest) {
    look();
    next();
    for (const char* rsrp : {"-100", "-101", "-102"}) {
        host.writeStatus(1, withValue(recordedStatus("healthy"), "CURRENT_RSRP", rsrp));
        look();
    }
    EXPECT_NE(next().find("\"rsrp_dbm\":-102"), std::string::npos);
    EXPECT_EQ(next(), "");
}
