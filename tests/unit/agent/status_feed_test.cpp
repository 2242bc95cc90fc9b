#include "agent/status_feed.h"

#include <gtest/gtest.h>

#include "tests/unit/cli/fixture.h"

namespace {

class StatusFeed : public testing::Test {
  protected:
    void SetUp() override {
        host.addSlot(1, "healthy");
        text = recordedStatus("healthy");
        look();
        feed.noteSent();
        nowS += 30000;
    }
    void look(long long ageS = 1) {
        host.writeStatus(1, text);
        feed.look(host.report(1, ageS), nowS);
    }
    void set(const char* key, const std::string& value) { text = withValue(text, key, value); }
    bool isDue() const { return feed.due().has_value(); }

    cStatusHost host;
    std::string text;
    cStatusFeed feed;
    long long nowS = 1000;
};

}  // namespace

TEST_F(StatusFeed, First_IsDueAsOneSlot) {
    cStatusFeed fresh;
    fresh.look(host.report(1), nowS);
    ASSERT_TRUE(fresh.due());
    EXPECT_EQ(fresh.due()->find("{\"slots\":[{\"slot\":1,"), 0u);
}

TEST_F(StatusFeed, WhatTimeAloneChanges_IsNotDue) {
    set("STATS_LAST_UPDATE_E", "1795246940");
    set("QMI_CALL_TIME", "77");
    look(5);
    EXPECT_FALSE(isDue());
    set("TEMPERATURE", "31");
    look();
    EXPECT_FALSE(isDue()) << "a degree";
}

TEST_F(StatusFeed, ConnectionLost_IsDueAtOnce) {
    set("QMI_STATE", "DISCONNECTED");
    look();
    EXPECT_TRUE(isDue());
}

TEST_F(StatusFeed, GoesOnChanging_IsDueLessAndLessOften) {
    int sent = 0;
    for (int second = 0; second < 3600; second += 5) {
        set("QMI_STATE", second / 5 % 2 == 0 ? "DISCONNECTED" : "CONNECTED");
        look();
        if (isDue()) ++sent;
        feed.noteSent();
        nowS += 5;
    }
    EXPECT_GE(sent, 10);
    EXPECT_LE(sent, 18);
    // The last state is sent, even if nothing changes any more.
    set("QMI_STATE", "DISCONNECTED");
    nowS += cStatusFeed::LAST_PAUSE_S;
    look();
    feed.noteSent();
    nowS += cStatusFeed::QUIET_S;
    set("QMI_STATE", "CONNECTED");
    look();
    EXPECT_TRUE(isDue()) << "after some quiet at once again";
}

TEST_F(StatusFeed, CellAndChannel_AreDueFourTimesADay) {
    int sent = 0;
    for (int second = 0; second < 24 * 3600; second += 60) {
        set("SERVSYS_CELL_ID", std::to_string(1000 + second / 60 % 2));
        look();
        if (isDue()) ++sent;
        feed.noteSent();
        nowS += 60;
    }
    EXPECT_LE(sent, 4);
    EXPECT_GE(sent, 3);
}

TEST_F(StatusFeed, SignalThatTrembles_IsNoNews) {
    for (const char* rsrp : {"-99", "-97", "-98", "-96", "-100"}) {
        set("CURRENT_RSRP", rsrp);
        look();
        EXPECT_FALSE(isDue()) << rsrp;
        nowS += 600;
    }
}

TEST_F(StatusFeed, SignalThatFalls_IsNewsOnceInFiveMinutes) {
    set("CURRENT_RSRP", "-118");
    look();
    EXPECT_TRUE(isDue());
    ASSERT_TRUE(feed.signalNews());
    EXPECT_NE(feed.signalNews()->find("\"quality\":\"poor\""), std::string::npos);
    feed.noteSent();
    nowS += 60;
    set("CURRENT_RSRP", "-90");
    look();
    EXPECT_FALSE(isDue());
    nowS += cSignalWatch::PAUSE_S;
    look();
    EXPECT_TRUE(isDue());
}

TEST_F(StatusFeed, BrokerHasLostIt_IsDueAgain) {
    feed.sendAgain();
    look();
    EXPECT_TRUE(isDue());
}
