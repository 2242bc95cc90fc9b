#include "observed/event_watch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Reads what a reading gives, one a minute.
class EventWatch : public testing::Test {
  protected:
    EventWatch() {
        reading.isConnected = true;
        reading.registration = "Reg Home";
        reading.network = "AT&T";
        reading.technology = "LTE";
        reading.cell = "471";
        reading.sim = "89014100000000000015";
        reading.simStatus = "Available";
        reading.modem = "356938035643809";
        reading.port = "/dev/ttyCELL1";
        reading.portId = "6:1:2";
        reading.temperatureLevel = "Normal temperature";
        reading.daemonPid = 701;
        follow();
        now += 60;
    }
    std::vector<sEvent> follow() {
        std::vector<sEvent> events;
        watch.follow(reading, now, events);
        now += 60;
        return events;
    }
    // The only event of a change: its kind and its text.
    void expectOne(const char* kind, const std::string& text) {
        const std::vector<sEvent> events = follow();
        ASSERT_EQ(events.size(), 1u) << kind;
        EXPECT_EQ(events[0].kind, kind);
        EXPECT_EQ(events[0].text, text);
        EXPECT_EQ(events[0].time, now - 60);
        EXPECT_TRUE(follow().empty()) << kind << " is said once";
    }

    sReading reading;
    time_t now = 1795219200;
    cEventWatch watch;
};

}  // namespace

TEST_F(EventWatch, NothingChanges_NoEvent) {
    EXPECT_TRUE(follow().empty());
}

TEST_F(EventWatch, EachValueThatChanges_IsAnEventWithTheNewOne) {
    const struct {
        std::string sReading::*value;
        const char* now;
        const char* kind;
        const char* text;
    } changes[] = {
        {&sReading::registration, "Searching", EVENT_REGISTRATION, "Registration: Searching."},
        {&sReading::network, "T-Mobile", EVENT_NETWORK, "The network is now T-Mobile."},
        {&sReading::technology, "WCDMA", EVENT_TECHNOLOGY, "The technology is now WCDMA."},
        {&sReading::sim, "8988303000000000002", EVENT_SIM, "The SIM is now 8988303000000000002."},
        {&sReading::simStatus, "SIM PIN", EVENT_SIM, "State of the SIM: SIM PIN."},
        {&sReading::pinOutcome, "PIN refused", EVENT_PIN, "PIN: PIN refused."},
        {&sReading::modem, "356938035643810", EVENT_MODEM,
         "The modem is now the one with IMEI 356938035643810."},
        {&sReading::portId, "6:9:2", EVENT_MODEM,
         "The modem was reset or plugged in: its port /dev/ttyCELL1 is new."},
        {&sReading::temperatureLevel, "High temperature", EVENT_TEMPERATURE,
         "Temperature: High temperature."},
        {&sReading::cell, "472", EVENT_CELL, "The cell is now 472."},
    };
    for (const auto& change : changes) {
        reading.*change.value = change.now;
        expectOne(change.kind, change.text);
        // What is not known for a while has not changed.
        reading.*change.value = "";
        EXPECT_TRUE(follow().empty()) << change.kind;
        reading.*change.value = change.now;
        EXPECT_TRUE(follow().empty()) << change.kind;
    }
}

TEST_F(EventWatch, HomeAndRoaming_HaveAKindOfTheirOwn) {
    reading.registration = "Reg Roaming";
    expectOne(EVENT_ROAMING, "Registration: Reg Roaming.");
    reading.registration = "Searching";
    expectOne(EVENT_REGISTRATION, "Registration: Searching.");
    reading.registration = "Reg Roaming";
    expectOne(EVENT_REGISTRATION, "Registration: Reg Roaming.");
    reading.registration = "Searching";
    follow();
    reading.registration = "Reg Home";
    expectOne(EVENT_ROAMING, "Registration: Reg Home.");
}

TEST_F(EventWatch, DaemonRestarted_IsAnEvent) {
    reading.daemonPid = 802;
    expectOne(EVENT_DAEMON, "The daemon was restarted; it is process 802 now.");
}

TEST_F(EventWatch, Outage_SaysReasonAndDuration_AndWhenTheReasonChanges) {
    now += 3600 - 2 * 60;
    reading.isConnected = false;
    reading.cause = "session";
    reading.causeText = "The network refuses the session.";
    expectOne(EVENT_OFFLINE, "Connection lost after 1 h 0 min: The network refuses the session.");
    reading.cause = "searching";
    reading.causeText = "No network yet; the modem is searching.";
    expectOne(EVENT_CAUSE, "Still no connection: No network yet; the modem is searching.");
    reading.isConnected = true;
    const std::vector<sEvent> events = follow();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, EVENT_ONLINE);
    EXPECT_EQ(events[0].text, "Connected after 4 min without a connection.");
    EXPECT_EQ(events[0].durationS, 240);
    EXPECT_EQ(events[0].cause, "searching");
}

TEST_F(EventWatch, ModemBetweenTwoCells_IsNotedOnceAnHour) {
    int events = 0;
    for (int minute = 0; minute < 180; ++minute) {
        reading.cell = minute % 2 == 0 ? "472" : "471";
        events += static_cast<int>(follow().size());
    }
    EXPECT_EQ(events, 3);
}

TEST_F(EventWatch, OutageWhoseReasonKeepsChanging_IsNoFlood) {
    reading.isConnected = false;
    reading.cause = "searching";
    follow();
    int events = 0;
    for (int minute = 0; minute < 200; ++minute) {
        reading.cause = minute % 2 == 0 ? "denied" : "searching";
        events += static_cast<int>(follow().size());
    }
    EXPECT_EQ(events, 20);
}

TEST_F(EventWatch, StatusLost_IsSaidOnce_AndItsReturnToo) {
    std::vector<sEvent> events;
    watch.lose(now, "The daemon has ended; what follows is not known.", events);
    watch.lose(now, "again", events);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].kind, EVENT_LOST);
    const std::vector<sEvent> back = follow();
    ASSERT_EQ(back.size(), 2u);
    EXPECT_EQ(back[0].kind, EVENT_FOLLOWED);
    EXPECT_EQ(back[1].kind, EVENT_ONLINE);
    EXPECT_FALSE(back[1].durationS) << "nobody knows how long it was";
}
