#include "agent/agent.h"

#include <gtest/gtest.h>

#include "mqtt/messages.h"
#include "tests/support/full_disk.h"
#include "tests/unit/cli/fixture.h"

namespace {

// Keeps what is published, and has taken it only when the test says so.
class cFakeBroker : public iBroker {
  public:
    struct sPublished {
        std::string topic;
        std::string text;
        bool isRetained;
    };

    bool isUp() const override { return isThere; }
    int publish(const std::string& topic, const std::string& text, bool isRetained) override {
        if (!isThere || isRefusing) return -1;
        published.push_back({topic, text, isRetained});
        return ++last;
    }
    int subscribe(const std::string& topic) override {
        subscribed.push_back(topic);
        return ++last;
    }
    void goOn() override { ++wentOn; }

    bool isThere = false;
    bool isRefusing = false;
    int last = 0;
    int wentOn = 0;
    std::vector<sPublished> published;
    std::vector<std::string> subscribed;
};

class Agent : public testing::Test {
  protected:
    Agent() {
        config.gateway = "pump7";
        host.addSlot(1, "healthy");
        EXPECT_TRUE(store.open(note, error));
        agent = std::make_unique<cAgent>(host.places(), config, store, broker,
                                         [](const std::string&) {});
        agent->start("", clock);
    }
    void pass(long long seconds) {
        for (; seconds > 0; seconds -= cAgent::LOOK_S) {
            clock.runS += cAgent::LOOK_S;
            clock.wall += cAgent::LOOK_S;
            host.writeStatus(1,
                             withValue(status, "STATS_LAST_UPDATE_E", std::to_string(clock.wall)));
            agent->work(clock);
            if (takes) takeAll();
        }
    }
    void connect(bool isSessionPresent = true) {
        broker.isThere = true;
        agent->up(isSessionPresent, clock);
    }
    void takeAll() {
        while (taken < broker.last)
            agent->acknowledged(++taken);
    }
    void disconnect() {
        broker.isThere = false;
        agent->down();
    }
    // Fills the store until something has been dropped.
    void overfill() {
        const uint64_t before = store.dropped().count;
        const std::string piece(60 * 1024, 'x');
        while (store.dropped().count == before)
            ASSERT_TRUE(store.commit({{{eWaiting::EVENT, 1,
                                        [&](const sMessageId& id) {
                                            sWireEvent event{id, clock.wall, EVENT_CELL, "x", "",
                                                             {}, "",         {},         {},  {}};
                                            return eventText(event) + std::string(60 * 1024, ' ');
                                        }}},
                                      {},
                                      false},
                                     error));
    }
    std::vector<sWireEvent> eventsOf(const std::string& kind) const {
        std::vector<sWireEvent> events;
        for (const std::string& text : textsOf("slot/1/event"))
            if (const auto event = parseEvent(text); event && event->kind == kind)
                events.push_back(*event);
        return events;
    }
    std::vector<std::string> textsOf(const std::string& topic) const {
        std::vector<std::string> texts;
        for (const auto& message : broker.published)
            if (message.topic == "cellslot/1/pump7/" + topic) texts.push_back(message.text);
        return texts;
    }

    cStatusHost host;
    cTempFolder folder;
    sAgentConfig config;
    cAgentStore store{folder.path()};
    cFakeBroker broker;
    std::string note;
    std::string error;
    std::string status = recordedStatus("healthy");
    sAgentClock clock{RECORDED_S, 1000};
    int taken = 0;
    bool takes = true;
    std::unique_ptr<cAgent> agent;
};

}  // namespace

TEST_F(Agent, RefusedSubscription_IsTriedAgainAfterGrowingPauses) {
    connect();
    const auto passUntilAsked = [this](size_t times) {
        const long long begin = clock.runS;
        while (broker.subscribed.size() < times && clock.runS < begin + 3600)
            pass(cAgent::LOOK_S);
        return clock.runS - begin;
    };
    std::vector<long long> pauses;
    for (size_t times = 2; times <= 9; ++times) {
        agent->subscribed(false, clock);
        pauses.push_back(passUntilAsked(times));
    }
    EXPECT_EQ(pauses, (std::vector<long long>{10, 20, 40, 80, 160, 320, 600, 600}));
    agent->subscribed(true, clock);
    EXPECT_EQ(passUntilAsked(10), 3600);
}

TEST_F(Agent, RefusedSubscription_EndsWithTheConnection) {
    connect();
    agent->subscribed(false, clock);
    broker.isThere = false;
    agent->down();
    pass(3600);
    EXPECT_EQ(broker.subscribed.size(), 1u);
    connect();
    EXPECT_EQ(broker.subscribed.size(), 2u);
}

TEST_F(Agent, Connected_AvailabilityAndStatusAreRetainedAndEventsAreNot) {
    pass(5);
    connect();
    pass(5);
    EXPECT_EQ(broker.subscribed, std::vector<std::string>{"cellslot/1/pump7/command"});
    ASSERT_EQ(textsOf("availability").size(), 1u);
    ASSERT_EQ(textsOf("slot/1/status").size(), 1u);
    EXPECT_FALSE(textsOf("slot/1/event").empty());
    for (const auto& message : broker.published)
        EXPECT_EQ(message.isRetained, message.topic.find("/event") == std::string::npos)
            << message.topic;
}

TEST_F(Agent, IdleDay_IsSignsOfLifeAndNothingElse) {
    connect();
    pass(60);
    broker.published.clear();
    const unsigned long long commits = store.commits();
    pass(24 * 3600);
    EXPECT_EQ(textsOf("availability").size(), 96u);
    EXPECT_EQ(broker.published.size(), 96u);
    EXPECT_EQ(store.commits(), commits) << "no write to the flash either";
}

TEST_F(Agent, BrokerTakesNothing_OnlySomeAreOnTheirWay) {
    takes = false;
    for (int i = 0; i < 50; ++i)
        agent->addEvent(1, eventOf(clock.wall, EVENT_CELL, "x"));
    connect();
    pass(60);
    EXPECT_LE(broker.published.size(), cAgent::ON_THE_WAY_MAX + 2);
}

TEST_F(Agent, ConnectionLost_WhatWasNotTakenComesAgainWithItsId) {
    takes = false;
    connect();
    pass(5);
    const auto first = textsOf("slot/1/event");
    broker.isThere = false;
    agent->down();
    broker.published.clear();
    takes = true;
    connect();
    pass(5);
    const auto again = textsOf("slot/1/event");
    ASSERT_GE(again.size(), first.size());
    for (size_t i = 0; i < first.size(); ++i)
        EXPECT_EQ(again[i], first[i]);
    EXPECT_EQ(textsOf("slot/1/status").size(), 1u);
}

TEST_F(Agent, BrokerHasLostEverything_StatusComesAgain) {
    connect();
    pass(5);
    broker.published.clear();
    broker.isThere = false;
    agent->down();
    connect(true);
    pass(5);
    EXPECT_TRUE(textsOf("slot/1/status").empty());
    broker.isThere = false;
    agent->down();
    connect(false);
    pass(5);
    EXPECT_EQ(textsOf("slot/1/status").size(), 1u);
}

TEST_F(Agent, OutageWithoutALine_ItsEventsComeLater) {
    pass(10);
    status = withValue(status, "QMI_STATE", "DISCONNECTED");
    pass(600);
    status = recordedStatus("healthy");
    pass(10);
    connect();
    pass(5);
    std::vector<std::string> kinds;
    for (const std::string& text : textsOf("slot/1/event"))
        kinds.push_back(parseEvent(text)->kind);
    EXPECT_NE(std::find(kinds.begin(), kinds.end(), "offline"), kinds.end());
    EXPECT_EQ(kinds.back(), "online");
}

TEST_F(Agent, FlappingNetwork_IsBounded) {
    connect();
    pass(5);
    broker.published.clear();
    for (int i = 0; i < 360; ++i) {
        status = withValue(recordedStatus("healthy"), "SERVICE_TYPE", i % 2 == 0 ? "WCDMA" : "LTE");
        pass(10);
    }
    EXPECT_LE(textsOf("slot/1/event").size(), 30u);
    EXPECT_LE(textsOf("slot/1/status").size(), 30u);
}

TEST_F(Agent, SignalSample_RidesWithTheSignOfLife) {
    connect();
    pass(60);
    broker.published.clear();
    const unsigned long long commits = store.commits();
    status = withValue(status, "CURRENT_RSRP", "-118");
    pass(400);
    EXPECT_EQ(textsOf("slot/1/status").size(), 1u);
    EXPECT_TRUE(textsOf("slot/1/event").empty());
    pass(900);
    ASSERT_EQ(textsOf("slot/1/event").size(), 1u);
    EXPECT_EQ(parseEvent(textsOf("slot/1/event")[0])->kind, "signal");
    EXPECT_EQ(store.commits(), commits + 1);
}

TEST_F(Agent, BrokerTakesNothing_AnotherConnectionAfterGrowingPauses) {
    takes = false;
    connect();
    pass(cAgent::FIRST_PATIENCE_S - 10);
    EXPECT_EQ(broker.wentOn, 0);
    pass(20);
    EXPECT_EQ(broker.wentOn, 1);
    disconnect();
    connect();
    pass(2 * cAgent::FIRST_PATIENCE_S - 10);
    EXPECT_EQ(broker.wentOn, 1);
    pass(20);
    EXPECT_EQ(broker.wentOn, 2);
    pass(3 * 3600);
    EXPECT_LE(broker.wentOn, 2 + 3 * 3600 / cAgent::LAST_PATIENCE_S + 2);
    const int before = broker.wentOn;
    takes = true;
    pass(5);
    takes = false;
    disconnect();
    connect();
    pass(cAgent::FIRST_PATIENCE_S + 10);
    EXPECT_EQ(broker.wentOn, before + 1) << "an answer makes the pause short again";
}

TEST_F(Agent, MessageThatCouldNotBeSent_IsSentLater) {
    connect();
    pass(5);
    broker.isRefusing = true;
    agent->addEvent(1, eventOf(clock.wall, EVENT_CELL, "later"));
    agent->settle();
    broker.isRefusing = false;
    pass(5);
    EXPECT_EQ(eventsOf(EVENT_CELL).size(), 1u);
}

TEST_F(Agent, DroppedWhileTheDiskIsFull_IsReportedOnceAndAsItIsThen) {
    overfill();
    {
        const cFullDisk full;
        for (int i = 0; i < 3; ++i) {
            connect();
            disconnect();
        }
    }
    overfill();
    const uint64_t count = store.dropped().count;
    connect();
    pass(5);
    const auto events = eventsOf(WIRE_EVENT_DROPPED);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_GE(*events[0].count, count);
    EXPECT_EQ(store.dropped().count, 0u);
}

TEST_F(Agent, DroppedWhileConnected_IsReportedWithTheNextSignOfLife) {
    connect();
    pass(5);
    overfill();
    pass(cAgent::ALIVE_S);
    EXPECT_EQ(eventsOf(WIRE_EVENT_DROPPED).size(), 1u);
}

TEST_F(Agent, DiskIsFullForDays_KeepsLittleAndSaysWhatIsLost) {
    connect();
    pass(5);
    {
        const cFullDisk full;
        for (int i = 0; i < 1000; ++i) {
            agent->addEvent(1, eventOf(clock.wall, EVENT_CELL, std::to_string(i)));
            agent->settle();
        }
    }
    broker.published.clear();
    pass(1000);
    const auto kept = eventsOf(EVENT_CELL);
    EXPECT_LE(kept.size(), 200u);
    ASSERT_FALSE(kept.empty());
    const auto said = eventsOf(WIRE_EVENT_AGENT);
    ASSERT_EQ(said.size(), 1u);
    EXPECT_EQ(said[0].text.find(std::to_string(1000 - kept.size()) + " events were lost"), 0u)
        << said[0].text;
}

TEST_F(Agent, OrderlyEnd_SaysStopped) {
    connect();
    pass(5);
    agent->sayStopped(clock);
    EXPECT_EQ(parseAvailability(textsOf("availability").back())->reason, AVAILABILITY_STOPPED);
    EXPECT_EQ(parseAvailability(agent->lastWill(clock))->reason, AVAILABILITY_LOST);
}

TEST_F(Agent, RetainedCommandAndOneForAnotherGateway_AreIgnored) {
    connect();
    takeAll();
    broker.published.clear();
    const std::string text =
        R"({"id":"a","by":"b","deadline":"2026-11-22T19:00:00Z","do":"reload","args":{"slot":1}})";
    agent->message("cellslot/1/pump7/command", text, true, clock);
    agent->message("cellslot/1/pump8/command", text, false, clock);
    EXPECT_TRUE(textsOf("result").empty());
    agent->message("cellslot/1/pump7/command", text, false, clock);
    EXPECT_EQ(textsOf("result").size(), 1u);
}
