#include "history/slot_history.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cli/base/utc_time.h"
#include "history/connection.h"
#include "history/history_paths.h"
#include "history/layout.h"
#include "history/snapshot.h"
#include "published/slot.h"

namespace {

// A row of an archive, for the seconds before its end.
struct sRow {
    time_t end;
    unsigned stepS;
    double average;
    double least;
    double greatest;
};

const sArchive* archiveFor(const sStore& store, eConsolidation function, unsigned stepS) {
    for (const sArchive& archive : store.archives)
        if (archive.function == function && archive.stepS == stepS) return &archive;
    return nullptr;
}

// The rows of one archive, with least and greatest where they are kept.
void addRows(const cRrdImage& image, const sStore& store, size_t column, const sArchive& archive,
             time_t from, time_t to, std::vector<sRow>& rows) {
    const cRrdImage::sRows averages = image.rows(archive, from, to);
    const auto extremes = [&](eConsolidation function) {
        const sArchive* kept = archiveFor(store, function, archive.stepS);
        return kept == nullptr ? averages : image.rows(*kept, from, to);
    };
    const cRrdImage::sRows least = extremes(eConsolidation::MIN);
    const cRrdImage::sRows greatest = extremes(eConsolidation::MAX);
    for (size_t i = 0; i < averages.count() && i < least.count() && i < greatest.count(); ++i)
        rows.push_back({averages.first + static_cast<time_t>(i) * archive.stepS, archive.stepS,
                        averages.at(i, column), least.at(i, column), greatest.at(i, column)});
}

constexpr time_t DAY_S = 86400;

time_t roundUp(time_t time, time_t step) {
    return (time + step - 1) / step * step;
}

double plus(double sum, double more) {
    return std::isnan(sum) ? more : std::isnan(more) ? sum : sum + more;
}

bool isMonthBegin(time_t time) {
    return time % DAY_S == 0 && utcDayText(time).substr(8) == "01";
}

time_t nextMonth(time_t time) {
    time_t next = roundUp(time + 1, DAY_S);
    while (!isMonthBegin(next))
        next += DAY_S;
    return next;
}

std::optional<sUsage> sumOf(const cLedger::tTable& table, const std::string& period) {
    std::optional<sUsage> sum;
    for (auto it = table.lower_bound({period, ""}); it != table.end() && it->first.first == period;
         ++it) {
        if (!sum) sum.emplace();
        sum->add(it->second);
    }
    return sum;
}

double countOf(const sUsage& usage, eSource source) {
    switch (source) {
        case eSource::RECEIVED:
            return static_cast<double>(usage.receivedBytes);
        case eSource::SENT:
            return static_cast<double>(usage.sentBytes);
        case eSource::MESSAGES:
            return static_cast<double>(usage.receivedMessages + usage.sentMessages);
        case eSource::RSRP:
        case eSource::RSRQ:
        case eSource::RSSI:
        case eSource::RSCP:
        case eSource::ECIO:
        case eSource::CONNECTED:
        case eSource::TEMPERATURE:
        case eSource::REGISTERED:
            break;
    }
    return std::nan("");
}

}  // namespace

struct cSlotHistory::sState {
    sSnapshot snapshot;
};

cSlotHistory::cSlotHistory(const sPlaces& places, int slot) : m_state(std::make_unique<sState>()) {
    takeSnapshot(places, slot, m_state->snapshot);
}

cSlotHistory::~cSlotHistory() = default;

eHistory cSlotHistory::state() const {
    switch (m_state->snapshot.state) {
        case sSnapshot::eState::GOOD:
            return eHistory::GOOD;
        case sSnapshot::eState::MISSING:
            break;
        case sSnapshot::eState::NOT_PERMITTED:
            return eHistory::NOT_PERMITTED;
        case sSnapshot::eState::DAMAGED:
            return eHistory::DAMAGED;
    }
    return eHistory::MISSING;
}

const std::string& cSlotHistory::defect() const {
    return m_state->snapshot.defect;
}

time_t cSlotHistory::begin() const {
    const cLedger& ledger = m_state->snapshot.ledger;
    const std::vector<sEvent>& events = m_state->snapshot.events;
    if (ledger.until == 0) return 0;
    return events.empty() ? ledger.until : std::min(events.front().time, ledger.until);
}

time_t cSlotHistory::end() const {
    return m_state->snapshot.end;
}

sSeries cSlotHistory::series(eSource source, const sTimeRange& range, size_t pointsMax) const {
    sSeries series;
    series.source = source;
    const sSnapshot& snapshot = m_state->snapshot;
    if (snapshot.state != sSnapshot::eState::GOOD || range.to <= range.from) return series;
    const sStore& store = storeOf(source);
    const cRrdImage& image = *snapshot.stores[static_cast<size_t>(&store - STORES.data())];
    const size_t column = placeOf(store, source);

    // The finest archive that reaches back to the begin; what its steps do not reach yet, up to the
    // present, comes from finer ones.
    std::vector<sRow> rows;
    std::vector<const sArchive*> averages;
    for (const sArchive& archive : store.archives)
        if (archive.function == eConsolidation::AVERAGE) averages.push_back(&archive);
    size_t chosen = 0;
    while (chosen + 1 < averages.size() &&
           range.from < snapshot.end - static_cast<time_t>(averages[chosen]->lengthS()))
        ++chosen;
    time_t from = range.from;
    for (size_t i = chosen + 1; i-- > 0;) {
        const time_t step = averages[i]->stepS;
        const time_t complete = std::min(snapshot.end, range.to + step - 1) / step * step;
        if (complete <= from) continue;
        addRows(image, store, column, *averages[i], from, complete, rows);
        from = complete;
    }

    const auto stepMax = static_cast<time_t>(averages[chosen]->stepS);
    const time_t length = range.to - range.from;
    const auto points =
        static_cast<time_t>(std::clamp<size_t>(pointsMax, 2, static_cast<size_t>(length) + 2));
    const time_t step = std::max(stepMax, roundUp((length + points - 1) / points, stepMax));
    series.stepS = static_cast<unsigned>(step);
    const time_t first = range.from / step * step;
    struct sSum {
        double weighted = 0;
        double seconds = 0;
    };
    const auto count = static_cast<size_t>((roundUp(range.to, step) - first) / step);
    std::vector<sSum> sums(count);
    for (size_t i = 0; i < count; ++i)
        series.points.push_back(
            {first + static_cast<time_t>(i) * step, std::nan(""), std::nan(""), std::nan("")});
    for (const sRow& row : rows) {
        if (std::isnan(row.average) || row.end <= first) continue;
        const auto at = static_cast<size_t>((row.end - 1 - first) / step);
        if (at >= count) continue;
        sPoint& point = series.points[at];
        sums[at].weighted += row.average * row.stepS;
        sums[at].seconds += row.stepS;
        point.average = sums[at].weighted / sums[at].seconds;
        point.least = std::fmin(point.least, row.least);
        point.greatest = std::fmax(point.greatest, row.greatest);
    }
    return series;
}

double cSlotHistory::plottedAmount(eSource source, const sTimeRange& range) const {
    const sSeries parts = series(source, range, SIZE_MAX / 2);
    double sum = std::nan("");
    for (const sPoint& point : parts.points)
        if (!std::isnan(point.average)) sum = plus(sum, point.average * parts.stepS);
    return sum;
}

// Whole days and months are those of the usage: it is exact, while a day's row in the RRD file does
// not say how much of the day was known. A day that the usage could have and has not had no
// figures.
double cSlotHistory::amount(eSource source, const sTimeRange& range) const {
    const cLedger& ledger = m_state->snapshot.ledger;
    const std::string firstDay = ledger.days().empty() ? "" : ledger.days().begin()->first.first;
    double sum = std::nan("");
    time_t end = 0;
    for (time_t at = range.from; at < range.to; at = end) {
        end = nextMonth(at);
        const bool isMonth = isMonthBegin(at) && end <= range.to;
        auto usage = isMonth ? sumOf(ledger.months(), utcMonthText(at)) : std::nullopt;
        if (!usage) {
            end = std::min(roundUp(at + 1, DAY_S), range.to);
            const bool isDay = at % DAY_S == 0 && end % DAY_S == 0;
            usage = isDay ? sumOf(ledger.days(), utcDayText(at)) : std::nullopt;
            if (isDay && !usage && !firstDay.empty() && utcDayText(at) > firstDay) continue;
        }
        sum = plus(sum, usage ? countOf(*usage, source) : plottedAmount(source, {at, end}));
    }
    return sum;
}

std::vector<sEvent> cSlotHistory::events(const sTimeRange& range, size_t countMax) const {
    std::vector<sEvent> events;
    for (const sEvent& event : m_state->snapshot.events)
        if (event.time >= range.from && event.time < range.to) events.push_back(event);
    if (events.size() > countMax)
        events.erase(events.begin(), events.end() - static_cast<long>(countMax));
    return events;
}

std::vector<sOutage> cSlotHistory::outages(const sTimeRange& range) const {
    return connectionIn(m_state->snapshot.events, range, end()).outages;
}

sAvailability cSlotHistory::availability(const sTimeRange& range) const {
    return connectionIn(m_state->snapshot.events, range, end()).availability;
}

namespace {

std::vector<sUsageLine> linesOf(const cLedger::tTable& table, const std::string& first,
                                const std::string& last) {
    std::vector<sUsageLine> lines;
    for (const auto& [key, usage] : table)
        if (key.first >= first && key.first <= last)
            lines.push_back({key.first, key.second, usage});
    return lines;
}

}  // namespace

std::vector<sUsageLine> cSlotHistory::usageByDay(const sTimeRange& range) const {
    return linesOf(m_state->snapshot.ledger.days(), utcDayText(range.from),
                   utcDayText(range.to - 1));
}

std::vector<sUsageLine> cSlotHistory::usageByMonth(const sTimeRange& range) const {
    return linesOf(m_state->snapshot.ledger.months(), utcMonthText(range.from),
                   utcMonthText(range.to - 1));
}

std::vector<int> slotsWithHistory(const sPlaces& places) {
    std::vector<int> slots;
    for (int slot = FIRST_SLOT; slot <= LAST_SLOT; ++slot)
        if (places.have(std::string(HISTORY_FOLDER) + "/" + storeName(STORES.front(), slot)))
            slots.push_back(slot);
    return slots;
}
