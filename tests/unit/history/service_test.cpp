#include "history/service.h"

#include <nlohmann/json.hpp>
#include <random>

#include "history/ledger.h"
#include "published/paths.h"
#include "tests/unit/cli/fixture.h"
#include "tests/unit/history/history_fixture.h"

namespace {

std::vector<std::string> g_logged;

class HistoryService : public HistoryTest {
  protected:
    HistoryService() {
        g_logged.clear();
        std::filesystem::create_directories(places.at(STATUS_FOLDER));
        std::filesystem::create_directories(places.at("/var/run"));
    }
    std::string statusPath(int slot) const { return places.at(statusFilePath(slot)); }
    static std::string statusAt(time_t now, int slot = 1) {
        static const std::string healthy = recordedStatus("healthy");
        return withValue(slot == 1 ? healthy : recordedStatus("healthy", slot),
                         "STATS_LAST_UPDATE_E", std::to_string(now));
    }
    // The file is there, and the service reads it, as after its change.
    void publish(const std::string& text, const sClock& clock, int slot = 1) {
        write(statusPath(slot), text);
        service.readStatus(slot, clock);
        service.work(clock);
    }
    void remove(int slot, const sClock& clock) {
        std::filesystem::remove(statusPath(slot));
        service.readStatus(slot, clock);
    }
    uint64_t writes(int slot) const {
        return cLedger::parse(read(historyPath(places, usageName(slot)))).generation;
    }
    static void log(const std::string& line) { g_logged.push_back(line); }

    cHistoryService service{places, log};
};

}  // namespace

TEST_F(HistoryService, ADayOfTwoSlots_AtMostAHundredWrites_WhateverHappens) {
    std::mt19937 random(17);
    time_t wall = DAY;
    for (long long runS = 0; runS < DAY_S; runS += 30, wall += 30) {
        // The clock is set now and then, and a daemon ends and starts again.
        if (random() % 600 == 0) wall += static_cast<time_t>(random() % 600) - 300;
        for (const int slot : {1, 2})
            if (random() % 200 == 0)
                remove(slot, {wall, runS});
            else
                publish(statusAt(wall, slot), {wall, runS}, slot);
    }
    service.stop({wall, DAY_S});
    for (const int slot : {1, 2}) {
        EXPECT_LE(writes(slot), 100u);
        EXPECT_GE(writes(slot), 80u) << "it was kept at all";
    }
    EXPECT_EQ(g_logged, std::vector<std::string>());
}

TEST_F(HistoryService, BetweenTwoWrites_NothingOnTheDiskChanges) {
    for (time_t at = 0; at < COMMIT_EVERY_S; at += 10)
        publish(statusAt(DAY + at), {DAY + at, at});
    const tFiles made = files();
    EXPECT_EQ(made.count(usageName(1)), 0u) << "nothing but the empty stores";
    publish(statusAt(DAY + COMMIT_EVERY_S), {DAY + COMMIT_EVERY_S, COMMIT_EVERY_S});
    EXPECT_EQ(writes(1), 1u);
    const tFiles written = files();
    for (time_t at = COMMIT_EVERY_S + 10; at < 2 * COMMIT_EVERY_S; at += 10)
        publish(statusAt(DAY + at), {DAY + at, at});
    EXPECT_EQ(files(), written);
    service.stop({DAY + 2 * COMMIT_EVERY_S, 2 * COMMIT_EVERY_S});
    EXPECT_EQ(writes(1), 2u) << "at its end it writes what is pending";
}

TEST_F(HistoryService, DaemonEnds_WhatFollowsIsAGap) {
    for (time_t at = 0; at <= 600; at += 10)
        publish(statusAt(DAY + at), {DAY + at, at});
    remove(1, {DAY + 605, 605});
    service.stop({DAY + 900, 900});
    const cSlotHistory history(places, 1);
    EXPECT_EQ(history.availability({DAY, DAY + 900}).knownS, 605);
    EXPECT_TRUE(history.outages({DAY, DAY + 900}).empty());
    EXPECT_EQ(history.events({DAY, DAY + 900}, 100).back().kind, EVENT_LOST);
}

TEST_F(HistoryService, StatusOfADaemonThatHasEnded_IsNotFollowed) {
    publish(statusAt(DAY - 100), {DAY, 0});
    publish(statusAt(DAY + 100), {DAY, 0});
    service.stop({DAY + 10, 10});
    EXPECT_TRUE(files().empty());
}

TEST_F(HistoryService, NamesOfStatusFiles_AreThoseOfTheSlotsOnly) {
    EXPECT_EQ(slotOfStatusName("wireless.cardstats.1"), 1);
    EXPECT_EQ(slotOfStatusName("wireless.cardstats.3"), 3);
    for (const char* name : {"wireless.cardstats", "wireless.cardstats.0", "wireless.cardstats.4",
                             "wireless.cardstats.11", "wireless.serialno", "", ".cellslot-tmp-1"})
        EXPECT_EQ(slotOfStatusName(name), 0) << name;
}

TEST_F(HistoryService, ModemThatWasReset_IsAnEvent_AndOneThatWasNotIsNone) {
    const std::string port = places.at("/dev/ttyCELL1");
    std::filesystem::create_directories(places.at("/dev"));
    write(port, "");
    publish(statusAt(DAY), {DAY, 0});
    publish(statusAt(DAY + 10), {DAY + 10, 10});
    // The daemon resets it and ends; the next one finds it again. The old node is still open.
    remove(1, {DAY + 20, 20});
    std::filesystem::rename(port, port + ".old");
    publish(statusAt(DAY + 30), {DAY + 30, 30});
    write(port, "");
    publish(statusAt(DAY + 60), {DAY + 60, 60});
    publish(statusAt(DAY + 70), {DAY + 70, 70});
    // The daemon was restarted, the modem was not.
    remove(1, {DAY + 80, 80});
    publish(statusAt(DAY + 90), {DAY + 90, 90});
    service.stop({DAY + 100, 100});
    std::vector<sEvent> resets;
    for (const sEvent& event : cSlotHistory(places, 1).events({DAY, DAY + 100}, 100))
        if (event.kind == EVENT_MODEM) resets.push_back(event);
    ASSERT_EQ(resets.size(), 1u);
    EXPECT_EQ(resets[0].time, DAY + 60);
    EXPECT_EQ(resets[0].text, "The modem was reset or plugged in: its port /dev/ttyCELL1 is new.");
}

// Whoever may write into the folder of the status files must not be able to harm the history.
TEST_F(HistoryService, StatusFilesThatAreNone_AreReportedOnce_AndChangeNothing) {
    std::mt19937 random(23);
    std::string binary(20000, '\0');
    for (char& octet : binary)
        octet = static_cast<char>(random());
    std::string huge = statusAt(DAY + 20);
    while (huge.size() < 4 * 1024 * 1024)
        huge += huge;
    const std::vector<std::string> wrong = {
        "", "\n", binary, huge, std::string(5000, 'A'), statusAt(DAY + 20, 2), "CELLMODEM1_=\n"};
    for (time_t at = 0; at <= 10; at += 10)
        publish(statusAt(DAY + at), {DAY + at, at});
    const tFiles before = files();
    for (const std::string& text : wrong) {
        g_logged.clear();
        publish(text, {DAY + 20, 20});
        publish(text, {DAY + 21, 21});
        ASSERT_EQ(g_logged.size(), 1u) << text.substr(0, 20);
        EXPECT_LT(g_logged[0].size(), 300u);
    }
    EXPECT_EQ(files(), before);
    publish(statusAt(DAY + 30), {DAY + 30, 30});
    service.stop({DAY + 30, 30});
    EXPECT_EQ(cSlotHistory(places, 1).availability({DAY, DAY + 30}).connectedS, 30)
        << "the last good status held";
}

TEST_F(HistoryService, TornStatusFile_IsNotFollowed) {
    const std::string whole = statusAt(DAY);
    for (size_t size = 0; size < whole.size(); size += 1 + whole.size() / 200)
        publish(whole.substr(0, size), {DAY, 0});
    service.stop({DAY, 0});
    EXPECT_TRUE(files().empty());
}

TEST_F(HistoryService, NoFileInThePlaceOfTheStatus_IsReported) {
    const std::string path = statusPath(1);
    std::filesystem::create_directories(path);
    service.readStatus(1, {DAY, 0});
    std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0644), 0);
    service.readStatus(1, {DAY, 0});
    std::filesystem::remove(path);
    write(places.at("/elsewhere"), statusAt(DAY));
    std::filesystem::create_symlink(places.at("/elsewhere"), path);
    service.readStatus(1, {DAY, 0});
    EXPECT_FALSE(g_logged.empty());
    service.stop({DAY, 0});
    EXPECT_TRUE(files().empty());
}

TEST_F(HistoryService, TimeOfWritingThatNoClockHas_IsNotFollowed) {
    for (const char* time : {"", "x", "-1", "0", "-9223372036854775808", "9223372036854775807",
                             "99999999999999999999", "253402300800", "1795219200.5", "0x6AFF"})
        publish(withValue(statusAt(DAY), "STATS_LAST_UPDATE_E", time), {DAY, 0});
    service.stop({DAY, 0});
    EXPECT_TRUE(files().empty());
}

TEST_F(HistoryService, ValuesOfTheWrongTypeOrBeyondTheirLimits_AreNotKnown) {
    const std::map<std::string, eSource> keys = {{"CURRENT_RSRP", eSource::RSRP},
                                                 {"CURRENT_RSRQ", eSource::RSRQ},
                                                 {"CURRENT_RSSI", eSource::RSSI},
                                                 {"TEMPERATURE", eSource::TEMPERATURE}};
    const std::vector<const char*> wrong = {"",    "abc",  "nan",  "inf", "1e999",  "-1e308",
                                            "--5", "12;3", "9999", "+7",  "-32768", "0x10"};
    time_t at = 0;
    for (const char* value : wrong) {
        std::string text = statusAt(DAY + at);
        for (const auto& [key, source] : keys)
            text = withValue(text, key, value);
        // The strength comes from +CSQ where the other has none.
        for (const char* key : {"CURRENT_CSQ", "LTE_RSSI", "SMS_RECV", "SMS_SENT", "SMS_SENT_FAIL"})
            text = withValue(text, key, value);
        publish(text, {DAY + at, at});
        at += 10;
    }
    service.stop({DAY + at, at});
    const cSlotHistory history(places, 1);
    ASSERT_EQ(history.state(), eHistory::GOOD) << history.defect();
    for (const auto& [key, source] : keys)
        for (const sPoint& point : history.series(source, {DAY, DAY + at}, 1000).points)
            EXPECT_TRUE(std::isnan(point.average)) << key << " " << point.average;
    for (const sUsageLine& line : history.usageByDay({DAY, DAY + at}))
        EXPECT_LT(line.usage.receivedMessages, 20000u);
}

TEST_F(HistoryService, TextsOfTheNetwork_AreBoundedAndPrintableInTheJournal) {
    publish(statusAt(DAY), {DAY, 0});
    std::string text =
        withValue(statusAt(DAY + 10), "CARRIER", "\"\\\xff\xfe{}" + std::string(3000, 'N'));
    publish(withValue(text, "SIM_ID", "../../1"), {DAY + 10, 10});
    publish(statusAt(DAY + 20), {DAY + 20, 20});
    service.stop({DAY + 30, 30});
    const std::string journal = read(historyPath(places, eventsName(1)));
    EXPECT_NE(journal.find("NNNN"), std::string::npos);
    std::istringstream lines(journal);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LT(line.size(), 1000u);
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
        EXPECT_TRUE(parseEventLine(line)) << line;
    }
    for (const sUsageLine& line : cSlotHistory(places, 1).usageByDay({DAY, DAY + 30}))
        EXPECT_TRUE(line.sim.empty() || line.sim == "89014100000000000015") << line.sim;
}

TEST_F(HistoryService, PinsInTheStatus_AreNowhereInTheHistory) {
    publish(statusAt(DAY), {DAY, 0});
    publish(
        withValue(recordedStatus("pin_locked"), "STATS_LAST_UPDATE_E", std::to_string(DAY + 10)),
        {DAY + 10, 10});
    service.stop({DAY + 20, 20});
    ASSERT_NE(recordedStatus("pin_locked").find("9999"), std::string::npos);
    const std::string journal = read(historyPath(places, eventsName(1)));
    EXPECT_NE(journal.find("\"kind\":\"pin\""), std::string::npos) << journal;
    EXPECT_EQ(journal.find("9999"), std::string::npos) << journal;
}

// The configuration has a password and is root's alone; the daemon publishes whether it wants data.
TEST_F(HistoryService, ConfigurationWithoutData_IsNoOutage_AndOneWithItIs) {
    const std::string searching =
        withValue(recordedStatus("searching"), "STATS_LAST_UPDATE_E", std::to_string(DAY));
    write(places.at(pidFilePath(1)), "4711\n");
    for (const char* wants : {"0", "-1", "1"}) {
        write(places.at(configLookPath(1)),
              std::string(
                  "PID=4711\nCOUNT=1\nRESULT=applied\nFILE=/etc/vuk/cellular1.conf\nINTERFACE=") +
                  wants + "\nROAMING=1\n");
        cHistoryService fresh(places, log);
        for (time_t at = 0; at <= 600; at += 10) {
            write(statusPath(1),
                  withValue(searching, "STATS_LAST_UPDATE_E", std::to_string(DAY + at)));
            fresh.readStatus(1, {DAY + at, at});
        }
        const cSlotHistory history(places, 1);
        const std::vector<sOutage> outages = history.outages({DAY, DAY + 600});
        EXPECT_EQ(outages.size(), wants == std::string("1") ? 1u : 0u) << wants;
        EXPECT_EQ(history.availability({DAY, DAY + 600}).knownS, 600);
        EXPECT_EQ(history.availability({DAY, DAY + 600}).connectedS, 0);
        restore({});
        forgetMemory();
    }
}
