#include "cli/status/watch_screen.h"

#include <gtest/gtest.h>

#include "cli/base/display_text.h"
#include "tests/support/recorded_text.h"
#include "tests/unit/cli/fixture.h"

namespace {

constexpr unsigned NOW_S = 10000;
constexpr const char* FOOTER = "12:00:00, every 2 s; q quits";

class WatchScreen : public testing::Test {
  protected:
    void SetUp() override {
        host.addSlot(1, "healthy");
        // Two minutes of a signal that rises from nothing.
        for (unsigned s = 0; s <= 120; s += 2)
            histories[1].add(NOW_S - 120 + s, static_cast<int>(s * 100 / 120));
    }

    tLines screen(const std::vector<sSlotReport>& reports, size_t rows = 24, size_t columns = 80) {
        const tLines lines = watchScreen(reports, histories, NOW_S, {rows, columns}, FOOTER);
        EXPECT_EQ(lines.size(), rows);
        for (const std::string& line : lines)
            EXPECT_LT(displayWidth(line), columns) << line;
        return lines;
    }

    cStatusHost host;
    tHistories histories;
};

bool has(const tLines& lines, const std::string& part) {
    return joinLines(lines).find(part) != std::string::npos;
}

}  // namespace

TEST_F(WatchScreen, OneSlotOn24Lines_HasDetailsAndGraph) {
    expectRecorded("status/watch_healthy.screen", joinLines(screen({host.report(1)})));
}

TEST_F(WatchScreen, ProblemsNeedRoom_DetailsAreLeftOut) {
    host.writeStatus(1, recordedStatus("session_refused"));
    expectRecorded("status/watch_refused.screen", joinLines(screen({host.report(1)})));
}

TEST_F(WatchScreen, ThreeSlots_HaveTableAndAGraphEach) {
    host.addSlot(2, "pin_locked");
    host.addSlot(3, "wcdma");
    expectRecorded("status/watch_three.screen",
                   joinLines(screen({host.report(1), host.report(2), host.report(3)})));
}

TEST_F(WatchScreen, AnySize_IsFilledAndShowsProblemsFirst) {
    host.addSlot(2, "pin_locked");
    for (size_t rows = 2; rows < 60; ++rows)
        for (const size_t columns : {20, 40, 80, 200}) {
            const tLines one = screen({host.report(2)}, rows, columns);
            EXPECT_EQ(one.front().rfind("Slot 2  NOT CONN", 0), 0u) << one.front();
            EXPECT_EQ(one.back(), cutTo(FOOTER, columns - 1));
            screen({host.report(1), host.report(2)}, rows, columns);
            screen({}, rows, columns);
        }
}

TEST_F(WatchScreen, DeadDaemon_KeepsTheGraph) {
    host.endDaemon(1);
    const tLines lines = screen({host.report(1)});
    EXPECT_TRUE(has(lines, "NO DAEMON"));
    EXPECT_TRUE(has(lines, "|") && has(lines, "#"));
}

TEST(SignalHistory, Samples_AreAveragedPerColumn) {
    cSignalHistory history;
    history.add(100, 10);
    history.add(102, 20);
    history.add(110, std::nullopt);
    history.add(117, 70);
    const std::vector<std::optional<int>> expected = {std::nullopt, 15, std::nullopt, std::nullopt,
                                                      70};
    EXPECT_EQ(history.columns(119, 5), expected);
}

TEST(SignalHistory, OldSamples_AreRemovedAndTheOthersStay) {
    cSignalHistory history;
    for (unsigned s = 0; s < 100000; ++s)
        history.add(s, 50);
    const auto columns = history.columns(99999, cSignalHistory::COLUMNS_MAX);
    EXPECT_EQ(columns, std::vector<std::optional<int>>(cSignalHistory::COLUMNS_MAX, 50));
}

TEST(SignalGraph, EveryStrength_FillsItsRows) {
    const sSignalReading signal = readSignal({{{"CURRENT_RSRP", "-98"}}});
    cSignalHistory history;
    for (unsigned column = 0; column <= 10; ++column)
        history.add(column * cSignalHistory::COLUMN_S, static_cast<int>(column * 10));
    const std::vector<std::string> expected = {
        "RSRP from -125 to -75 dBm",      "good |                     ###",
        "     |                   #####", "fair |                ########",
        "poor |             ###########",
    };
    EXPECT_EQ(signalGraph(history, signal, 50, 4, 30), expected);
    EXPECT_EQ(graphTimeLine(30), "      2 min ago            now");
    EXPECT_EQ(graphTimeLine(20), "      1 min ago  now");
}
