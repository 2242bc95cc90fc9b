#include "history/history_screen.h"

#include "cli/base/display_text.h"
#include "tests/support/recorded_text.h"
#include "tests/unit/history/recorded_days.h"

namespace {

constexpr size_t SCREEN_LINES = 24;

class HistoryScreen : public RecordedDays {
  protected:
    static void expectLines(const std::vector<std::string>& lines, const std::string& name) {
        std::string text;
        for (const std::string& line : lines) {
            EXPECT_LE(displayWidth(line), SCREEN_WIDTH) << line;
            text += line + "\n";
        }
        expectFile(std::string(HISTORY_DATA) + "/" + name + ".screen", text,
                   "CELLSLOT_RENEW_RECORDINGS=1 build/release/bin/history_command_tests");
    }
    std::vector<std::string> screen(time_t from, time_t now) const {
        const cSlotHistory history(places, 1);
        EXPECT_EQ(history.state(), eHistory::GOOD) << history.defect();
        return historyScreen(history, 1, {DAY + from, DAY + now}, DAY + now);
    }
    // The axis and its labels, the last two lines but a note.
    std::string axis(time_t from, time_t now) const {
        const std::vector<std::string> lines = screen(from, now);
        for (size_t i = 0; i + 1 < lines.size(); ++i)
            if (lines[i].find("     +") == 0) return lines[i] + "\n" + lines[i + 1];
        return "no axis";
    }
};

}  // namespace

TEST_F(HistoryScreen, Day_OnOneScreen) {
    recordDays(DAY_S);
    const std::vector<std::string> lines = screen(0, DAY_S);
    expectLines(lines, "day");
    EXPECT_LE(lines.size(), SCREEN_LINES - 1) << "with the prompt";
}

TEST_F(HistoryScreen, Week_DaysOnTheAxis_AndTheLatestOutages) {
    recordDays(7 * DAY_S);
    const std::vector<std::string> lines = screen(0, 7 * DAY_S);
    expectLines(lines, "week");
    EXPECT_LE(lines.size(), SCREEN_LINES - 1);
}

TEST_F(HistoryScreen, OutageThatLasts_SaysHowLong) {
    recordDays(19 * HOUR_S + 600);
    expectLines(screen(18 * HOUR_S, 19 * HOUR_S + 600), "lasting_outage");
}

TEST_F(HistoryScreen, NoFigureSinceHours_NothingIsClaimedOfThem) {
    recordDays(19 * HOUR_S + 600);
    expectLines(screen(12 * HOUR_S, 24 * HOUR_S), "service_ended");
    expectLines(screen(21 * HOUR_S, 24 * HOUR_S), "nothing_known");
}

TEST_F(HistoryScreen, GapInTheMiddle_IsEmptyInThePlot) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    record(recorder, 0, 8 * HOUR_S);
    recorder.lose("The daemon has ended; what follows is not known.",
                  {DAY + 8 * HOUR_S, 8 * HOUR_S});
    record(recorder, 16 * HOUR_S, DAY_S);
    expectLines(screen(0, DAY_S), "gap");
}

TEST_F(HistoryScreen, AnyRange_HasTicksWithTimes) {
    recordDays(2 * DAY_S);
    for (const time_t length :
         {60, 90, 121, 299, 300, 599, 600, 601, 1800, 3600, 7200, 20000, 86400}) {
        const std::string shown = axis(DAY_S + 1234 - length, DAY_S + 1234);
        const std::string rule = shown.substr(0, shown.find('\n'));
        const auto ticks = std::count(rule.begin() + 6, rule.end(), '+');
        EXPECT_GE(ticks, 2) << length << "\n" << shown;
        EXPECT_LE(ticks, 13) << length << "\n" << shown;
        EXPECT_NE(shown.find(':', rule.size()), std::string::npos) << length << "\n" << shown;
    }
    EXPECT_NE(axis(DAY_S + 34, DAY_S + 94).find("00:00:40"), std::string::npos)
        << axis(DAY_S + 34, DAY_S + 94);
}

TEST_F(HistoryScreen, Ticks_AreWholeHoursOfLocalTime_AlsoWhenTheClockIsPutBack) {
    setenv("TZ", "Europe/Berlin", 1);
    tzset();
    // 2026-10-25 03:00 becomes 02:00.
    constexpr time_t CHANGE = 1792890000;
    cSlotRecorder recorder(places, 1);
    start(recorder, {CHANGE - 3 * DAY_S, 0});
    for (time_t at = 0; at <= 7 * DAY_S; at += 60)
        recorder.follow(connectedReading(), {CHANGE - 3 * DAY_S + at, at});
    const std::string shown = axis(CHANGE - 3 * DAY_S - DAY, CHANGE + 4 * DAY_S - DAY);
    for (const char* day : {"10-23", "10-25", "10-26", "10-28"})
        EXPECT_NE(shown.find(day), std::string::npos) << shown;
    EXPECT_EQ(shown.find(':'), std::string::npos) << "midnight is a date\n" << shown;
    // From the day of the change on.
    const std::string later = axis(CHANGE - HOUR_S - DAY, CHANGE + 4 * DAY_S - DAY);
    for (const char* day : {"10-26", "10-27", "10-28"})
        EXPECT_NE(later.find(day), std::string::npos) << later;
    EXPECT_EQ(later.find(':'), std::string::npos) << later;
}

TEST_F(HistoryScreen, Outages_LineByLine) {
    recordDays(2 * DAY_S);
    expectLines(
        outageLines(cSlotHistory(places, 1).outages({DAY, DAY + 2 * DAY_S}), DAY + 2 * DAY_S),
        "outages");
}

TEST_F(HistoryScreen, MoreThanAThousandOutages_AreCountedAll) {
    cSlotRecorder recorder(places, 1);
    start(recorder, {DAY, 0});
    time_t at = 0;
    for (; at < 26000; at += 10) {
        recorder.follow(at % 20 == 0 ? connectedReading() : offlineReading(), {DAY + at, at});
        if (at % 900 == 0) commit(recorder, {DAY + at, at});
    }
    const std::vector<std::string> lines = screen(0, at);
    EXPECT_NE(lines[3].find("Outages      1300, "), std::string::npos) << lines[3];
    EXPECT_LE(lines.size(), SCREEN_LINES);
}

TEST_F(HistoryScreen, Events_LineByLine) {
    recordDays(DAY_S);
    expectLines(eventLines(cSlotHistory(places, 1).events({DAY, DAY + DAY_S}, 100)), "events");
}

TEST_F(HistoryScreen, Usage_ByDayAndMonth) {
    recordDays(11 * DAY_S);
    const cSlotHistory history(places, 1);
    const sTimeRange all = {DAY, DAY + 11 * DAY_S};
    expectLines(usageLines(history.usageByDay(all)), "usage_days");
    expectLines(usageLines(history.usageByMonth(all)), "usage_months");
}

TEST_F(HistoryScreen, Bytes_HaveTheUnitThatFits) {
    const std::pair<double, const char*> texts[] = {
        {0, "0 B"},          {999, "999 B"},       {1000, "1.0 kB"},
        {99950, "100.0 kB"}, {123456, "123 kB"},   {1e9, "1.0 GB"},
        {2.5e13, "25.0 TB"}, {1e18, "1000000 TB"}, {NAN, "not known"},
    };
    for (const auto& [bytes, text] : texts)
        EXPECT_EQ(bytesText(bytes), text);
}
