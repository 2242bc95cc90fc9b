#include <cmath>
#include <random>

#include "history/layout.h"
#include "tests/unit/history/history_fixture.h"

namespace {

constexpr int DAYS = 30;
// The service reads as the daemon writes, and writes every quarter of an hour; fewer of both say
// the same of the figures in a tenth of the time.
bool isWhole() {
    return getenv("CELLSLOT_TEST_ALL") != nullptr;
}
time_t stepS() {
    return isWhole() ? 10 : 60;
}
time_t commitS() {
    return isWhole() ? 900 : 2 * HOUR_S;
}

// The plain reckoning beside which the history is held.
struct sReckoning {
    std::map<std::pair<std::string, std::string>, sUsage> days;
    std::map<std::pair<std::string, std::string>, sUsage> months;
    std::vector<sOutage> outages;
    long long connectedS = 0;
    long long knownS = 0;
    std::map<time_t, std::pair<double, double>> rsrp;  // by quarter: sum, count

    void hold(time_t from, time_t to, const sReading& reading) {
        for (time_t second = from; second < to; ++second) {
            sUsage used;
            used.knownS = 1;
            used.connectedS = reading.isConnected ? 1 : 0;
            add(second, reading.sim, used);
            knownS += 1;
            connectedS += reading.isConnected ? 1 : 0;
            auto& [sum, count] = rsrp[second / 900 * 900];
            sum += reading.values[static_cast<size_t>(eSource::RSRP)];
            count += 1;
        }
    }
    void add(time_t second, const std::string& sim, const sUsage& used) {
        const time_t day = (second - DAY) / DAY_S;
        // 2026-11-21 is day 0; December begins with day 10.
        char text[16];
        if (day < 10)
            snprintf(text, sizeof text, "2026-11-%02d", static_cast<int>(21 + day));
        else
            snprintf(text, sizeof text, "2026-12-%02d", static_cast<int>(day - 9));
        days[{text, sim}].add(used);
        months[{std::string(text).substr(0, 7), sim}].add(used);
    }
};

void expectSame(const sUsage& found, const sUsage& expected, const std::string& where) {
    EXPECT_EQ(found.receivedBytes, expected.receivedBytes) << where;
    EXPECT_EQ(found.sentBytes, expected.sentBytes) << where;
    EXPECT_EQ(found.receivedMessages, expected.receivedMessages) << where;
    EXPECT_EQ(found.connectedS, expected.connectedS) << where;
    EXPECT_EQ(found.knownS, expected.knownS) << where;
}

class Month : public HistoryTest {
  protected:
    // Days with outages, an interface that is made anew, and a SIM that is changed.
    void live() {
        std::mt19937 random(20261121);
        const time_t step = stepS();
        cSlotRecorder recorder(places, 1);
        start(recorder, {DAY, 1000});
        sReading last;
        sCounters counters = {4, 0, 0, 0, 0, 0};
        for (time_t at = 0; at < DAYS * DAY_S; at += step) {
            const time_t now = DAY + at;
            sReading reading =
                random() % 500 == 0 || (last.isConnected == false && random() % 8 != 0 && at != 0)
                    ? offlineReading()
                    : connectedReading(-90 - static_cast<double>(random() % 20));
            reading.values[static_cast<size_t>(eSource::RSRP)] =
                -90 - static_cast<double>(random() % 20);
            reading.sim = at < 15 * DAY_S ? "89014100000000000015" : "8988303000000000002";
            const bool isMadeAnew = random() % 3000 == 0;
            sUsage used;
            used.receivedBytes = random() % 100000;
            used.sentBytes = random() % 5000;
            used.receivedMessages = random() % 500 == 0 ? 1 : 0;
            if (isMadeAnew) {
                *counters.interfaceIndex += 1;
                counters.receivedBytes = counters.sentBytes = 0;
                ++madeAnew;
            }
            *counters.receivedBytes += used.receivedBytes;
            *counters.sentBytes += used.sentBytes;
            *counters.receivedMessages += used.receivedMessages;
            reading.counters = counters;
            if (at != 0) {
                reckoning.hold(now - step, now, last);
                reckoning.add(now - 1, last.sim, used);
                if (last.isConnected && !reading.isConnected) {
                    sOutage outage;
                    outage.from = now;
                    reckoning.outages.push_back(outage);
                }
                if (!last.isConnected && reading.isConnected) reckoning.outages.back().to = now;
            }
            const sClock clock = {now, 1000 + at};
            recorder.follow(reading, clock);
            if (at % commitS() == 0 && at != 0) {
                commit(recorder, clock);
                ++commits;
                if (at == commitS()) sizeAtFirst = storesSize();
            }
            last = reading;
        }
        bytesWritten = recorder.bytesWritten();
    }
    size_t storesSize() const {
        size_t size = 0;
        for (const sStore& store : STORES)
            size += std::filesystem::file_size(historyPath(places, storeName(store, 1)));
        return size;
    }

    sReckoning reckoning;
    int commits = 0;
    int madeAnew = 0;
    size_t bytesWritten = 0;
    size_t sizeAtFirst = 0;
};

}  // namespace

TEST_F(Month, ThirtyDays_FiguresAreThoseOfAPlainReckoning_AndTheSizeStays) {
    live();
    const time_t end = DAY + DAYS * DAY_S - stepS();
    const cSlotHistory history(places, 1);
    ASSERT_EQ(history.state(), eHistory::GOOD) << history.defect();
    const sTimeRange all = {DAY, end};

    // To the byte, by day, month and SIM.
    ASSERT_GT(madeAnew, 2);
    const std::vector<sUsageLine> days = history.usageByDay(all);
    ASSERT_EQ(days.size(), reckoning.days.size());
    for (const sUsageLine& line : days)
        expectSame(line.usage, reckoning.days[{line.period, line.sim}], line.period);
    const std::vector<sUsageLine> months = history.usageByMonth(all);
    ASSERT_EQ(months.size(), 3u);  // two months, and a second SIM in the second
    for (const sUsageLine& line : months)
        expectSame(line.usage, reckoning.months[{line.period, line.sim}], line.period);

    // To the second.
    const sAvailability availability = history.availability(all);
    EXPECT_EQ(availability.knownS, reckoning.knownS);
    EXPECT_EQ(availability.connectedS, reckoning.connectedS);
    const std::vector<sOutage> outages = history.outages(all);
    ASSERT_EQ(outages.size(), reckoning.outages.size());
    ASSERT_GT(outages.size(), 30u);
    for (size_t i = 0; i < outages.size(); ++i) {
        EXPECT_EQ(outages[i].from, reckoning.outages[i].from);
        EXPECT_EQ(outages[i].to, reckoning.outages[i].to);
        EXPECT_EQ(outages[i].cause, "searching");
    }

    // Quarters of an hour over the whole month.
    const sSeries rsrp = history.series(eSource::RSRP, all, 100000);
    EXPECT_EQ(rsrp.stepS, 900u);
    ASSERT_EQ(rsrp.points.size(), static_cast<size_t>(DAYS) * 96);
    for (const sPoint& point : rsrp.points) {
        const auto& [sum, count] = reckoning.rsrp[point.time];
        ASSERT_NEAR(point.average, sum / count, 1e-6) << point.time;
    }

    EXPECT_EQ(storesSize(), sizeAtFirst);
    EXPECT_LE(storesSize(), STORES_BYTES_MAX);
    EXPECT_LT(bytesWritten / DAYS, 30u * 1024 * 1024);
    printf("%d commits, %zu kB written a day, stores %zu bytes\n", commits,
           bytesWritten / DAYS / 1024, storesSize());
}
