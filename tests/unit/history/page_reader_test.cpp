#include "history/page_reader.h"

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/unit/history/history_fixture.h"

namespace {

class PageReader : public HistoryTest {
  protected:
    static constexpr time_t NOW = DAY + HOUR_S;

    // Half an hour connected, ten minutes offline, connected to the hour.
    void recordAnHour() const {
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 0});
        for (time_t at = 0; at <= HOUR_S; at += 10) {
            const bool isOffline = at >= 1800 && at < 2400;
            recorder.follow(isOffline ? offlineReading() : connectedReading(), {DAY + at, at});
        }
        commit(recorder, {NOW, HOUR_S});
    }
    eExitStatus run(const std::vector<std::string>& words) {
        out.str("");
        err.str("");
        return runPageReader(words, places, NOW, out, err);
    }
    nlohmann::json answer(const std::vector<std::string>& words) {
        EXPECT_EQ(run(words), eExitStatus::OK) << err.str();
        return nlohmann::json::parse(out.str());
    }

    std::ostringstream out;
    std::ostringstream err;
};

}  // namespace

TEST_F(PageReader, History_HasEverySourceAtTheSameTimes) {
    recordAnHour();
    for (const char* range : {"1h", "6h", "24h", "7d", "30d", "365d"}) {
        const nlohmann::json page = answer({"history", "1", range});
        EXPECT_GE(page["times"].size(), 2u) << range;
        EXPECT_LE(page["times"].size(), 370u) << range;
        ASSERT_EQ(page["series"].size(), SOURCES) << range;
        for (const auto& [name, series] : page["series"].items())
            for (const char* values : {"average", "least", "greatest"})
                EXPECT_EQ(series[values].size(), page["times"].size()) << range << " " << name;
        EXPECT_EQ(page["availability"]["connected_seconds"], HOUR_S - 600) << range;
        EXPECT_EQ(page["availability"]["known_seconds"], HOUR_S) << range;
        EXPECT_TRUE(page["usage"]["received_bytes"].is_number_integer()) << range;
        ASSERT_EQ(page["outages"].size(), 1u) << range;
        EXPECT_EQ(page["outages"][0]["from"], DAY + 1800) << range;
        EXPECT_EQ(page["outages"][0]["to"], DAY + 2400) << range;
        EXPECT_EQ(page["outages"][0]["cause"], "searching") << range;
    }
}

TEST_F(PageReader, Values_AreThoseOfTheTime_AndUnknownOnesNull) {
    recordAnHour();
    const nlohmann::json page = answer({"history", "1", "6h"});
    const nlohmann::json& times = page["times"];
    for (size_t i = 0; i + 1 < times.size(); ++i) {
        const time_t begin = times[i];
        const time_t end = times[i + 1];
        const nlohmann::json strength = page["series"]["rsrp"]["average"][i];
        if (end <= DAY) {
            EXPECT_TRUE(strength.is_null()) << begin;
            EXPECT_TRUE(page["series"]["connected"]["average"][i].is_null()) << begin;
        }
        if (begin >= DAY && end <= NOW) {
            EXPECT_EQ(strength, -98) << begin;
        }
        if (begin >= DAY + 1800 && end <= DAY + 2400) {
            EXPECT_EQ(page["series"]["connected"]["average"][i], 0) << begin;
        }
    }
    EXPECT_TRUE(page["series"]["rscp"]["average"].back().is_null());
}

TEST_F(PageReader, Events_AreThoseOfTheJournal_TheOldestFirst) {
    recordAnHour();
    const nlohmann::json events = answer({"events", "1"})["events"];
    ASSERT_GE(events.size(), 2u);
    time_t last = 0;
    bool hasOffline = false;
    for (const nlohmann::json& event : events) {
        EXPECT_GE(event["time"], last);
        last = event["time"];
        hasOffline = hasOffline || (event["kind"] == "offline" && event["time"] == DAY + 1800);
    }
    EXPECT_TRUE(hasOffline) << events;
}

TEST_F(PageReader, SlotWithoutHistory_IsAnEmptyAnswer) {
    const nlohmann::json page = answer({"history", "2", "24h"});
    EXPECT_TRUE(page["times"].empty());
    EXPECT_TRUE(page["series"]["connected"]["average"].empty());
    EXPECT_TRUE(page["usage"]["received_bytes"].is_null());
    EXPECT_EQ(page["availability"]["known_seconds"], 0);
    EXPECT_TRUE(answer({"events", "2"})["events"].empty());
}

TEST_F(PageReader, DamagedStore_IsAFailureThatSaysWhich) {
    recordAnHour();
    write(historyPath(places, "1.rrd"), "no figures");
    EXPECT_EQ(run({"history", "1", "24h"}), eExitStatus::FAILED);
    EXPECT_EQ(out.str(), "");
    EXPECT_NE(err.str().find("1.rrd"), std::string::npos) << err.str();
}

TEST_F(PageReader, WrongWords_AreRefused) {
    const std::vector<std::vector<std::string>> wrong = {{},
                                                         {"events"},
                                                         {"events", "0"},
                                                         {"events", "4"},
                                                         {"events", "1", "24h"},
                                                         {"events", "1x"},
                                                         {"history", "1"},
                                                         {"history", "1", ""},
                                                         {"history", "1", "0h"},
                                                         {"history", "1", "99999999y"},
                                                         {"status", "1"}};
    for (const std::vector<std::string>& words : wrong) {
        EXPECT_EQ(run(words), eExitStatus::USAGE) << (words.empty() ? "" : words.back());
        EXPECT_EQ(out.str(), "");
    }
}
