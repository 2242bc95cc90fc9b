#include "history/slot_recorder.h"

#include <cmath>
#include <random>

#include "history/pending.h"
#include "tests/unit/history/history_fixture.h"

namespace {

constexpr time_t YEAR_1970 = 100;  // of a host whose clock was never set

class SlotRecorder : public HistoryTest {
  protected:
    // A reading every ten seconds, from begin on, which is also the run time.
    void follow(cSlotRecorder& recorder, const sReading& reading, time_t begin, time_t length,
                long long runS) const {
        for (time_t at = 0; at <= length; at += 10)
            recorder.follow(reading, {begin + at, runS + at});
    }
    static bool hasEvent(const cSlotHistory& history, const char* kind) {
        for (const sEvent& event : history.events({0, DAY + 400 * DAY_S}, 1000))
            if (event.kind == kind) return true;
        return false;
    }
};

}  // namespace

TEST_F(SlotRecorder, ClockSetForTheFirstTime_EarlierMinutesGetTheirRightPlace) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {YEAR_1970, 10});
    follow(recorder, connectedReading(), YEAR_1970, 300, 10);
    commit(recorder, {YEAR_1970 + 300, 310});
    EXPECT_TRUE(files().empty()) << "written with a clock that is not set";
    follow(recorder, connectedReading(), DAY, 300, 320);
    commit(recorder, {DAY + 300, 620});

    const cSlotHistory history(places, 1);
    ASSERT_EQ(history.state(), eHistory::GOOD) << history.defect();
    // 300 s before, ten seconds across the step, 300 s after it.
    EXPECT_EQ(history.availability({DAY - 310, DAY + 300}).connectedS, 610);
    EXPECT_EQ(history.availability({0, DAY - 310}).knownS, 0);
    EXPECT_TRUE(hasEvent(history, EVENT_CLOCK));
}

// A gateway without a battery, after a power cut: the clock begins in 1970 again.
TEST_F(SlotRecorder, ClockSetAfterAPowerCut_TheTimeWithoutPowerIsNotKnown) {
    {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 1000});
        follow(recorder, connectedReading(), DAY, 600, 1000);
        commit(recorder, {DAY + 600, 1600});
    }
    forgetMemory();
    for (const time_t wrong : {YEAR_1970, DAY + 900}) {
        const tFiles before = files();
        cSlotRecorder recorder(places, 1);
        start(recorder, {wrong, 10});
        follow(recorder, connectedReading(), wrong, 300, 10);
        follow(recorder, connectedReading(), DAY + 4000, 300, 320);
        commit(recorder, {DAY + 4300, 620});
        const cSlotHistory history(places, 1);
        EXPECT_EQ(history.availability({DAY, DAY + 4300}).knownS, 600 + 310 + 300) << wrong;
        EXPECT_EQ(history.events({DAY, DAY + 700}, 10).back().kind, EVENT_LOST) << wrong;
        EXPECT_TRUE(history.events({DAY + 4301, DAY + 100 * 365 * DAY_S}, 10).empty()) << wrong;
        restore(before);
        forgetMemory();
    }
}

TEST_F(SlotRecorder, ClockSetBack_NothingIsStoredTwice_AndItGoesOn) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    follow(recorder, connectedReading(), DAY, 900, 0);
    commit(recorder, {DAY + 900, 900});
    // An hour back, which the file waits out: longer than ten minutes, so it is cut back.
    follow(recorder, connectedReading(), DAY - HOUR_S + 910, 900, 910);
    commit(recorder, {DAY - HOUR_S + 1810, 1810});
    const cSlotHistory history(places, 1);
    ASSERT_EQ(history.state(), eHistory::GOOD) << history.defect();
    const sSeries series =
        history.series(eSource::CONNECTED, {DAY - HOUR_S, DAY - HOUR_S + 1810}, 1000);
    EXPECT_DOUBLE_EQ(series.points.back().average, 1);
    EXPECT_TRUE(hasEvent(history, EVENT_CLOCK));
}

TEST_F(SlotRecorder, NoStatusForLong_IsAGapFromTheLastStatusOn) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    follow(recorder, connectedReading(), DAY, 100, 0);
    recorder.look({DAY + 190, 190});
    EXPECT_TRUE(recorder.isFollowing()) << "90 s are a long command, not a gap";
    recorder.look({DAY + 191, 191});
    EXPECT_FALSE(recorder.isFollowing());
    follow(recorder, connectedReading(), DAY + 1000, 100, 1000);
    commit(recorder, {DAY + 1100, 1100});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 1100}).knownS, 200);
    EXPECT_TRUE(history.outages({DAY, DAY + 1100}).empty()) << "a gap is no outage";
    const sSeries series = history.series(eSource::CONNECTED, {DAY, DAY + 1100}, 1000);
    for (const sPoint& point : series.points)
        EXPECT_EQ(std::isnan(point.average), point.time >= DAY + 100 && point.time < DAY + 1000)
            << point.time - DAY;
}

TEST_F(SlotRecorder, StatusAfterEightySeconds_HeldAllTheTime) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    recorder.follow(connectedReading(), {DAY, 0});
    recorder.follow(connectedReading(), {DAY + 80, 80});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 80}).connectedS, 80) << "not committed, but pending";
}

TEST_F(SlotRecorder, InterfaceMadeAnew_CountsFromZero_NeverNegativeOrHuge) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    const std::vector<std::pair<uint64_t, uint64_t>> indexAndBytes = {
        {4, 5000}, {4, 6000}, {4, 200}, {5, 900}, {5, 1900}};
    time_t at = 0;
    for (const auto& [index, bytes] : indexAndBytes) {
        sReading reading = connectedReading();
        reading.counters = {index, bytes, bytes, 0, 0, 0};
        recorder.follow(reading, {DAY + at, at});
        at += 10;
    }
    commit(recorder, {DAY + at, at});
    const cSlotHistory history(places, 1);
    const std::vector<sUsageLine> days = history.usageByDay({DAY, DAY + DAY_S});
    ASSERT_EQ(days.size(), 1u);
    // The first is where counting begins; then 1000, 200 after a reset, 900 of a new one, 1000.
    EXPECT_EQ(days[0].usage.receivedBytes, 3100u);
    EXPECT_NEAR(history.amount(eSource::RECEIVED, {DAY, DAY + 60}), 3100, 1e-6);
}

TEST_F(SlotRecorder, InterfaceAwayForAWhile_CountsWhatTheNextHas) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    sReading reading = connectedReading();
    reading.counters = {4, 1000, 0, 0, 0, 0};
    recorder.follow(reading, {DAY, 0});
    reading.counters = {{}, {}, {}, 0, 0, 0};
    recorder.follow(reading, {DAY + 10, 10});
    reading.counters = {9, 7000, 0, 0, 0, 0};
    recorder.follow(reading, {DAY + 20, 20});
    commit(recorder, {DAY + 20, 20});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.usageByDay({DAY, DAY + DAY_S}).at(0).usage.receivedBytes, 7000u);
}

TEST_F(SlotRecorder, KilledAndStartedAgain_LosesNothing) {
    {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        follow(recorder, connectedReading(), DAY, 600, 0);
    }
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY + 605, 605});
    follow(recorder, connectedReading(), DAY + 610, 90, 610);
    commit(recorder, {DAY + 700, 700});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 700}).knownS, 690);
    EXPECT_EQ(history.usageByDay({DAY, DAY + DAY_S}).at(0).usage.connectedS, 690u);
}

// The last event may be later than the last whole ten seconds: what follows it is not known either.
TEST_F(SlotRecorder, KilledJustAfterAnOutageBegan_TheGapIsNoOutage) {
    for (const time_t begin : {time_t{0}, time_t{600}}) {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        follow(recorder, connectedReading(), DAY, begin, 0);
        recorder.follow(offlineReading(), {DAY + begin + 5, begin + 5});
        cSlotRecorder next(places, 1);
        start(next, {DAY + 4000, 4000});
        follow(next, connectedReading(), DAY + 4000, 100, 4000);
        commit(next, {DAY + 4100, 4100});
        const cSlotHistory history(places, 1);
        EXPECT_EQ(history.availability({DAY, DAY + 4100}).knownS, begin + 5 + 100);
        EXPECT_TRUE(history.outages({DAY, DAY + 4100}).empty());
        restore({});
        forgetMemory();
    }
}

TEST_F(SlotRecorder, PowerCutJustAfterAnOutageWasWritten_TheGapIsNoOutage) {
    {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        follow(recorder, connectedReading(), DAY, 600, 0);
        recorder.follow(offlineReading(), {DAY + 605, 605});
        commit(recorder, {DAY + 605, 605});
    }
    forgetMemory();
    cSlotRecorder next(places, 1);
    start(next, {DAY + 4000, 4000});
    follow(next, connectedReading(), DAY + 4000, 100, 4000);
    commit(next, {DAY + 4100, 4100});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 4100}).knownS, 705);
    EXPECT_TRUE(history.outages({DAY, DAY + 4100}).empty());
}

TEST_F(SlotRecorder, TwoSlots_KeepTheirFiguresApart) {
    cSlotRecorder first(places, 1);
    cSlotRecorder second(places, 2);
    start(first, {DAY, 0});
    start(second, {DAY, 0});
    follow(first, connectedReading(-80), DAY, 100, 0);
    follow(second, connectedReading(-110), DAY, 100, 0);
    commit(first, {DAY + 100, 100});
    commit(second, {DAY + 100, 100});
    EXPECT_EQ(slotsWithHistory(places), (std::vector<int>{1, 2}));
    for (const auto& [slot, rsrp] : std::map<int, double>{{1, -80}, {2, -110}}) {
        const cSlotHistory history(places, slot);
        EXPECT_DOUBLE_EQ(history.series(eSource::RSRP, {DAY, DAY + 100}, 100).points.at(0).average,
                         rsrp);
    }
}

TEST_F(SlotRecorder, DamagedStore_IsPutAside_AndANewOneBegins) {
    write(historyPath(places, "1.rrd"), std::string(4000, 'x'));
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    follow(recorder, connectedReading(), DAY, 100, 0);
    commit(recorder, {DAY + 100, 100});
    EXPECT_EQ(read(historyPath(places, "1.rrd.damaged")), std::string(4000, 'x'));
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.state(), eHistory::GOOD);
    EXPECT_TRUE(hasEvent(history, EVENT_HISTORY));
}

TEST_F(SlotRecorder, HostilePendingText_IsReadWithoutHarm) {
    std::mt19937 random(3);
    sPending pending;
    pending.windowAt(DAY + 10).hold(connectedReading(), 10);
    sEvent event;
    event.time = DAY;
    event.kind = EVENT_ONLINE;
    event.text = "Connected.";
    pending.events.push_back(event);
    const std::string good = pending.text();
    EXPECT_EQ(sPending::parse(good).text(), good);
    for (int i = 0; i < 3000; ++i) {
        std::string text = good;
        for (int change = 0; change < 4; ++change)
            text[random() % text.size()] = static_cast<char>(random());
        const sPending parsed = sPending::parse(text.substr(0, random() % (text.size() + 1)));
        EXPECT_LE(parsed.windows.size(), 1u);
        EXPECT_LE(parsed.events.size(), 1u);
    }
}

TEST_F(SlotRecorder, JournalThatGrows_KeepsTheLatest_InHalfAMegabyteAtMost) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    size_t most = 0;
    time_t at = 0;
    for (int write = 0; write < 40; ++write) {
        // As many events as one write can have.
        for (int i = 0; i < 500; ++i, at += 10)
            recorder.follow(i % 2 == 0 ? offlineReading() : connectedReading(), {DAY + at, at});
        commit(recorder, {DAY + at, at});
        size_t size = 0;
        for (const auto& [name, bytes] : files())
            if (name.find(".events") != name.npos) size += bytes.size();
        most = std::max(most, size);
        ASSERT_LE(size, 512u * 1024);
    }
    EXPECT_GT(most, 400u * 1024) << "both parts were full";
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.events({DAY, DAY + at}, 10).back().time, DAY + at - 10);
    EXPECT_GT(history.outages({DAY, DAY + at}).size(), 900u);
}

// A clock that was years ahead until it was set: its battery, or a wrong time of the network.
TEST_F(SlotRecorder, ClockYearsAheadForAWhile_WhatFollowsIsKnownAndEndsWhereItDoes) {
    constexpr time_t AHEAD = 8 * 365 * DAY_S;
    {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY + AHEAD, 0});
        follow(recorder, connectedReading(), DAY + AHEAD, 900, 0);
        commit(recorder, {DAY + AHEAD + 900, 900});
        follow(recorder, connectedReading(), DAY + 910, 900, 910);
        follow(recorder, offlineReading(), DAY + 1820, 900, 1820);
        commit(recorder, {DAY + 2720, 2720});
    }
    forgetMemory();
    {
        const cSlotHistory history(places, 1);
        EXPECT_EQ(history.end(), DAY + 2720);
        const std::vector<sOutage> outages = history.outages({DAY, DAY + 2720});
        ASSERT_EQ(outages.size(), 1u);
        EXPECT_EQ(outages[0].to, 0) << "it lasts, and was not over in years";
    }
    cSlotRecorder next(places, 1);
    start(next, {DAY + 10000, 10});
    follow(next, connectedReading(), DAY + 10000, 100, 10);
    commit(next, {DAY + 10100, 110});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY + 910, DAY + 10100}).knownS, 910 + 900 + 100);
}

// A slot that has been connected for months, and whose modem changes its network again and again.
TEST_F(SlotRecorder, JournalThatBeganAnewTwice_StillKnowsTheConnection) {
    for (const bool isConnected : {true, false}) {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        time_t at = 0;
        const auto goOn = [&] {
            for (int i = 0; i < 500; ++i, at += 10) {
                sReading reading = isConnected ? connectedReading() : offlineReading();
                reading.network = std::string(70, i % 2 == 0 ? 'A' : 'B');
                recorder.follow(reading, {DAY + at, at});
            }
            commit(recorder, {DAY + at, at});
        };
        for (int i = 0; i < 12; ++i)
            goOn();
        const cSlotHistory history(places, 1);
        EXPECT_GT(history.events({DAY, DAY + at}, SIZE_MAX / 2).front().time, DAY)
            << "all is there";
        const sTimeRange range = {DAY + at - HOUR_S, DAY + at - 10};
        EXPECT_EQ(history.availability(range).knownS, HOUR_S - 10) << isConnected;
        EXPECT_EQ(history.availability(range).connectedS, isConnected ? HOUR_S - 10 : 0);
        const std::vector<sOutage> outages = history.outages(range);
        ASSERT_EQ(outages.size(), isConnected ? 0u : 1u);
        if (!isConnected) {
            EXPECT_EQ(outages[0].text, "No network yet; the modem is searching.");
        }
        restore({});
        forgetMemory();
    }
}

TEST_F(SlotRecorder, SimChanged_BytesSinceTheLastReadingAreOfTheOldOne) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    const auto reading = [](const std::string& sim, uint64_t bytes) {
        sReading made = connectedReading();
        made.sim = sim;
        made.counters = {4, bytes, 0, 0, 0, 0};
        return made;
    };
    recorder.follow(reading("8901", 1000), {DAY, 0});
    recorder.follow(reading("8901", 2000), {DAY + 2, 2});
    recorder.follow(reading("", 2500), {DAY + 4, 4});      // pulled out
    recorder.follow(reading("8902", 2500), {DAY + 6, 6});  // another one
    recorder.follow(reading("8902", 2600), {DAY + 8, 8});
    recorder.follow(reading("8901", 2900), {DAY + 10, 10});  // switched within two seconds
    commit(recorder, {DAY + 20, 20});
    std::map<std::string, uint64_t> bytes;
    for (const sUsageLine& line : cSlotHistory(places, 1).usageByDay({DAY, DAY + DAY_S}))
        bytes[line.sim] += line.usage.receivedBytes;
    EXPECT_EQ(bytes["8901"], 1500u);
    EXPECT_EQ(bytes["8902"], 400u);
    EXPECT_EQ(bytes[""], 0u);
}

TEST_F(SlotRecorder, MoreEventsThanOneWriteTakes_TheLatestAreSeenAtOnce) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    for (time_t at = 0; at <= 520; ++at)
        recorder.follow(at % 2 == 0 ? offlineReading() : connectedReading(), {DAY + at, at});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.events({DAY, DAY + HOUR_S}, 1000).back().time, DAY + 520);
}

TEST_F(SlotRecorder, StoppedAndStartedAgain_TheGapIsSaidOnce) {
    {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        follow(recorder, connectedReading(), DAY, 600, 0);
        std::string error;
        EXPECT_TRUE(recorder.stop({DAY + 605, 605}, error)) << error;
    }
    cSlotRecorder next(places, 1);
    start(next, {DAY + 4000, 4000});
    follow(next, connectedReading(), DAY + 4000, 100, 4000);
    int lost = 0;
    for (const sEvent& event : cSlotHistory(places, 1).events({DAY, DAY + 5000}, 100))
        lost += event.kind == EVENT_LOST ? 1 : 0;
    EXPECT_EQ(lost, 1);
}

TEST_F(SlotRecorder, UsageOfAnotherHand_LosesTheLinesThatAreNone_AndTheServiceGoesOn) {
    // A text cut within a letter; escape sequences for the terminal; a day after all others.
    write(historyPath(places, "1.usage"),
          "{\"generation\":1,\"until\":" + std::to_string(DAY) + "}\n" +
              "{\"day\":\"2026-11-20\",\"sim\":\"12345678901234567890123\u00e9\",\"received_"
              "bytes\":5}\n"
              "{\"day\":\"2026-11-20\",\"sim\":\"\\u001b[2J\",\"received_bytes\":5}\n"
              "{\"day\":\"zzzz-zz-zz\",\"sim\":\"8901\",\"received_bytes\":5}\n"
              "{\"month\":\"\\u001b[2J11\",\"sim\":\"8901\",\"received_bytes\":5}\n"
              "{\"day\":\"2026-11-20\",\"sim\":\"8901\",\"received_bytes\":7}\n");
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    follow(recorder, connectedReading(), DAY, 100, 0);
    commit(recorder, {DAY + 100, 100});
    const cSlotHistory history(places, 1);
    const std::vector<sUsageLine> days = history.usageByDay({0, DAY + 400 * DAY_S});
    ASSERT_EQ(days.size(), 2u);
    EXPECT_EQ(days[0].sim, "8901");
    EXPECT_EQ(days[0].usage.receivedBytes, 7u);
    EXPECT_EQ(history.usageByMonth({0, DAY + 400 * DAY_S}).size(), 1u);
}

// The clock was never set, or the disk is full: nothing can be written for days.
TEST_F(SlotRecorder, NothingCanBeWrittenForDays_MemoryIsBounded_AndReadersSeeTheLatest) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    for (time_t at = 0; at <= 5 * DAY_S; at += 10) {
        recorder.follow(connectedReading(), {DAY + at, at});
        if (at % DAY_S != 0) continue;
        ASSERT_LE(read(pendingPath(places, 1)).size(), PENDING_BYTES_MAX) << at;
    }
    EXPECT_EQ(cSlotHistory(places, 1).end(), DAY + 5 * DAY_S);
}

TEST_F(SlotRecorder, ClockSetBySecondsInAnOutage_ItStaysOne) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    follow(recorder, connectedReading(), DAY, 100, 0);
    follow(recorder, offlineReading(), DAY + 110, 900, 110);
    commit(recorder, {DAY + 1010, 1010});
    follow(recorder, offlineReading(), DAY + 1025, 900, 1020);
    follow(recorder, connectedReading(), DAY + 1935, 100, 1930);
    commit(recorder, {DAY + 2035, 2030});
    const std::vector<sOutage> outages = cSlotHistory(places, 1).outages({DAY, DAY + 2035});
    ASSERT_EQ(outages.size(), 1u);
    EXPECT_EQ(outages[0].from, DAY + 110);
    EXPECT_EQ(outages[0].to, DAY + 1935);
}
