#include "history/history_screen.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>

#include "cli/base/display_text.h"
#include "cli/base/printable_text.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t LABEL_WIDTH = 13;  // "Connected    "
constexpr size_t AXIS_WIDTH = 6;    // "-100 |"
constexpr size_t PLOT_WIDTH = SCREEN_WIDTH - AXIS_WIDTH;
constexpr size_t PLOT_ROWS = 8;
constexpr double SCALE_STEP_DB = 5;
constexpr double SCALE_LEAST_DB = 20;
constexpr size_t OUTAGES_SHOWN = 5;
constexpr time_t FRESH_S = 120;
constexpr time_t HOUR_S = 3600;
constexpr time_t DAY_S = 24 * HOUR_S;

// With so many digits after the point.
std::string numberText(double value, int digits) {
    char text[48];
    snprintf(text, sizeof text, "%.*f", digits, value);
    return text;
}

tm localParts(time_t time) {
    tm parts{};
    localtime_r(&time, &parts);
    return parts;
}

std::string dateText(time_t time) {
    const tm parts = localParts(time);
    char text[32];
    return {text, strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts)};
}

std::string secondText(time_t time) {
    const tm parts = localParts(time);
    char text[32];
    return {text, strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts)};
}

std::string shortDate(time_t time) {
    return dateText(time).substr(5);
}

std::string labelled(const std::string& label, const std::string& text) {
    return fitTo(label, LABEL_WIDTH) + text;
}

// Never "100 %" for a time with an outage.
std::string shareText(long long part, long long whole) {
    const double percent = 100 * static_cast<double>(part) / static_cast<double>(whole);
    const double shown = part < whole ? std::min(percent, 99.99) : percent;
    return shortNumber(std::floor(shown * 10) / 10) + (shown > 99.9 && part < whole ? "9 %" : " %");
}

std::string connectedText(const sAvailability& availability, long long rangeS) {
    if (availability.knownS == 0) return "not known: no status was recorded in this time";
    const long long unknownS = rangeS - availability.knownS;
    return shareText(availability.connectedS, availability.knownS) +
           (unknownS > 60 ? " of the time that is known (not known: " + durationText(unknownS) + ")"
                          : " of the time");
}

std::string outageEnd(const sOutage& outage, time_t now) {
    const std::string lasted = durationText(outage.durationS(now));
    if (outage.to == 0) return "for " + lasted + " so far";
    return "for " + lasted + (outage.endsUnknown ? " or longer" : "");
}

void addOutages(std::vector<std::string>& lines, const std::vector<sOutage>& outages, time_t now) {
    if (outages.empty()) {
        lines.push_back(labelled("Outages", "none"));
        return;
    }
    long long sumS = 0;
    for (const sOutage& outage : outages)
        sumS += outage.durationS(now);
    const bool isCut = outages.size() > OUTAGES_SHOWN;
    lines.push_back(labelled("Outages", std::to_string(outages.size()) + ", " + durationText(sumS) +
                                            " in all" + (isCut ? "; the latest:" : ":")));
    const size_t first = isCut ? outages.size() - OUTAGES_SHOWN : 0;
    for (size_t i = first; i < outages.size(); ++i) {
        const sOutage& outage = outages[i];
        const std::string text = "  " + shortDate(outage.from) + "  " + outageEnd(outage, now) +
                                 ": " +
                                 (outage.text.empty() ? "no fault was reported" : outage.text);
        for (const std::string& line : wrapText(printableLine(text), SCREEN_WIDTH, LABEL_WIDTH + 2))
            lines.push_back(line);
    }
}

std::string dataText(const cSlotHistory& history, const sTimeRange& range) {
    const double received = history.amount(eSource::RECEIVED, range);
    const double sent = history.amount(eSource::SENT, range);
    if (std::isnan(received) && std::isnan(sent)) return "not known";
    return "received " + bytesText(received) + ", sent " + bytesText(sent);
}

// ---- the plot ----------------------------------------------------------------------------------

// The strength of the signal; without any figure, that of LTE.
sSeries strengthOf(const cSlotHistory& history, const sTimeRange& range, size_t points) {
    for (const eSource source : {eSource::RSRP, eSource::RSCP, eSource::RSSI}) {
        sSeries series = history.series(source, range, points);
        for (const sPoint& point : series.points)
            if (!std::isnan(point.average)) return series;
    }
    return {};
}

struct sScale {
    double low = 0;
    double high = 0;
};

struct sExtremes {
    double least = NAN;
    double greatest = NAN;
    double average = NAN;
};

sExtremes extremesOf(const sSeries& series) {
    sExtremes found;
    double sum = 0;
    int count = 0;
    for (const sPoint& point : series.points) {
        found.least = std::fmin(found.least, point.least);
        found.greatest = std::fmax(found.greatest, point.greatest);
        if (std::isnan(point.average)) continue;
        sum += point.average;
        ++count;
    }
    if (count > 0) found.average = sum / count;
    return found;
}

sScale scaleOf(const sExtremes& extremes) {
    sScale scale = {std::floor(extremes.least / SCALE_STEP_DB) * SCALE_STEP_DB,
                    std::ceil(extremes.greatest / SCALE_STEP_DB) * SCALE_STEP_DB};
    while (scale.high - scale.low < SCALE_LEAST_DB) {
        scale.low -= SCALE_STEP_DB;
        if (scale.high - scale.low < SCALE_LEAST_DB) scale.high += SCALE_STEP_DB;
    }
    return scale;
}

// Columns of the same length in time, from the left.
struct sPlot {
    sTimeRange range;
    size_t columns;
    size_t columnOf(time_t time) const {
        return static_cast<size_t>(static_cast<double>(time - range.from) *
                                   static_cast<double>(columns) /
                                   static_cast<double>(range.to - range.from));
    }
};

struct sColumn {
    double least = NAN;
    double greatest = NAN;
    double average = NAN;
};

std::vector<sColumn> columnsOf(const sSeries& series, const sPlot& plot) {
    std::vector<sColumn> columns(plot.columns);
    for (const sPoint& point : series.points) {
        if (std::isnan(point.average)) continue;
        const time_t end = std::min(point.time + static_cast<time_t>(series.stepS), plot.range.to);
        const size_t first = plot.columnOf(std::max(point.time, plot.range.from));
        const size_t last = std::max(first, plot.columnOf(end - 1));
        for (size_t i = first; i <= last && i < plot.columns; ++i) {
            sColumn& column = columns[i];
            column.least = std::fmin(column.least, point.least);
            column.greatest = std::fmax(column.greatest, point.greatest);
            column.average =
                std::isnan(column.average) ? point.average : (column.average + point.average) / 2;
        }
    }
    return columns;
}

char cellOf(const sColumn& column, double low, bool isLowest) {
    if (std::isnan(column.average)) return ' ';
    if (column.average >= low || isLowest) return '#';
    return column.greatest >= low ? ':' : ' ';
}

void addPlotRows(std::vector<std::string>& lines, const std::vector<sColumn>& columns,
                 const sScale& scale) {
    const double step = (scale.high - scale.low) / static_cast<double>(PLOT_ROWS);
    for (size_t row = 0; row < PLOT_ROWS; ++row) {
        const double low = scale.high - step * static_cast<double>(row + 1);
        std::string label(AXIS_WIDTH - 2, ' ');
        if (row % 2 == 0) {
            const std::string number = numberText(low + step, 0);
            label =
                std::string(AXIS_WIDTH - 2 - std::min(number.size(), AXIS_WIDTH - 2), ' ') + number;
        }
        std::string line = label + " |";
        for (const sColumn& column : columns)
            line += cellOf(column, low, row + 1 == PLOT_ROWS);
        lines.push_back(cleanEndWhiteSpace(line));
    }
}

// The time without a connection, below the plot.
std::string offlineRow(const cSlotHistory& history, const sPlot& plot) {
    std::string row(plot.columns, ' ');
    for (const sOutage& outage : history.outages(plot.range)) {
        const time_t to = outage.to == 0 ? std::max(history.end(), outage.from + 1) : outage.to;
        const size_t first = plot.columnOf(std::max(outage.from, plot.range.from));
        const size_t last = plot.columnOf(std::min(to, plot.range.to) - 1);
        for (size_t i = first; i <= last && i < plot.columns; ++i)
            row[i] = 'x';
    }
    return row;
}

// The midnight of local time that is so many days after the time's own. A day may have an hour more
// or less.
time_t midnightAfter(time_t time, time_t days) {
    tm parts = localParts(time);
    parts.tm_mday += static_cast<int>(days);
    parts.tm_hour = parts.tm_min = parts.tm_sec = 0;
    parts.tm_isdst = -1;
    return mktime(&parts);
}

// The first tick from there on: parts of an hour, whole hours or days of local time.
time_t tickFrom(time_t from, time_t stepS) {
    if (stepS >= DAY_S) return midnightAfter(from - 1, 1);
    tm parts = localParts(from);
    parts.tm_min = parts.tm_sec = 0;
    time_t tick = mktime(&parts);
    while (tick < from || (stepS > HOUR_S && localParts(tick).tm_hour % (stepS / HOUR_S) != 0))
        tick += std::min(stepS, HOUR_S);
    return tick;
}

time_t nextTick(time_t tick, time_t stepS) {
    return stepS < DAY_S ? tickFrom(tick + 1, stepS) : midnightAfter(tick, stepS / DAY_S);
}

struct sTicks {
    time_t lengthMaxS;
    time_t stepS;
};
const sTicks TICKS[] = {
    {2 * 60, 20},
    {6 * 60, 60},
    {15 * 60, 2 * 60},
    {40 * 60, 5 * 60},
    {2 * HOUR_S, 10 * 60},
    {8 * HOUR_S, HOUR_S},
    {13 * HOUR_S, 2 * HOUR_S},
    {30 * HOUR_S, 4 * HOUR_S},
    {3 * DAY_S, 12 * HOUR_S},
    {9 * DAY_S, DAY_S},
    {70 * DAY_S, 7 * DAY_S},
    {400 * DAY_S, 30 * DAY_S},
    {INT64_MAX, 90 * DAY_S},
};

std::string tickText(time_t tick, time_t stepS) {
    if (stepS < 60) return secondText(tick).substr(11);
    const std::string text = shortDate(tick);
    return stepS >= 12 * HOUR_S && text.substr(6) == "00:00" ? text.substr(0, 5) : text.substr(6);
}

void addAxis(std::vector<std::string>& lines, const sPlot& plot) {
    std::string rule(plot.columns, '-');
    std::string labels(plot.columns + 6, ' ');
    const time_t length = plot.range.to - plot.range.from;
    const sTicks* ticks = TICKS;
    while (length > ticks->lengthMaxS)
        ++ticks;
    for (time_t tick = tickFrom(plot.range.from, ticks->stepS); tick < plot.range.to;
         tick = nextTick(tick, ticks->stepS)) {
        const size_t column = plot.columnOf(tick);
        rule[column] = '+';
        const std::string text = tickText(tick, ticks->stepS);
        if (column + text.size() <= plot.columns) labels.replace(column, text.size(), text);
    }
    lines.push_back(std::string(AXIS_WIDTH - 1, ' ') + "+" + rule);
    lines.push_back(cleanEndWhiteSpace(std::string(AXIS_WIDTH, ' ') + labels));
}

void addSignal(std::vector<std::string>& lines, const cSlotHistory& history,
               const sTimeRange& range) {
    const sPlot plot = {range, PLOT_WIDTH};
    const sSeries series = strengthOf(history, range, PLOT_WIDTH);
    const sExtremes extremes = extremesOf(series);
    if (std::isnan(extremes.average)) {
        lines.push_back(labelled("Signal", "no figures"));
        return;
    }
    const sSource& source = describe(series.source);
    lines.push_back(
        labelled("Signal", std::string(source.words) + " " + shortNumber(extremes.average) +
                               " dBm on average, " + shortNumber(extremes.least) + " to " +
                               shortNumber(extremes.greatest) + " (# average, : greatest)"));
    addPlotRows(lines, columnsOf(series, plot), scaleOf(extremes));
    const std::string offline = offlineRow(history, plot);
    if (offline.find('x') != offline.npos) lines.push_back(cleanEndWhiteSpace("out  |" + offline));
    addAxis(lines, plot);
}

}  // namespace

std::string bytesText(double bytes) {
    if (std::isnan(bytes)) return "not known";
    const std::array<const char*, 5> units = {"B", "kB", "MB", "GB", "TB"};
    size_t unit = 0;
    for (; bytes >= 1000 && unit + 1 < units.size(); ++unit)
        bytes /= 1000;
    return numberText(bytes, unit == 0 || bytes >= 100 ? 0 : 1) + " " + units[unit];
}

std::string historyTitle(int slot, const sTimeRange& range) {
    return "Slot " + itos(slot) + "  from " + dateText(range.from) + " to " + dateText(range.to);
}

std::vector<std::string> historyScreen(const cSlotHistory& history, int slot,
                                       const sTimeRange& range, time_t now) {
    std::vector<std::string> lines = {historyTitle(slot, range), ""};
    const sAvailability availability = history.availability(range);
    lines.push_back(labelled("Connected", connectedText(availability, range.to - range.from)));
    if (availability.knownS == 0)
        lines.push_back(labelled("Outages", "not known"));
    else
        addOutages(lines, history.outages(range), now);
    lines.push_back(labelled("Data", dataText(history, range)));
    addSignal(lines, history, range);
    if (now - history.end() <= FRESH_S) return lines;
    for (const std::string& line :
         wrapText("The last figure is " + durationText(now - history.end()) +
                      " old: no daemon runs, or cellslot-history.service does not.",
                  SCREEN_WIDTH, 0))
        lines.push_back(line);
    return lines;
}

std::vector<std::string> outageLines(const std::vector<sOutage>& outages, time_t now) {
    std::vector<std::string> lines;
    for (const sOutage& outage : outages)
        for (const std::string& line :
             wrapText(printableLine(secondText(outage.from) + "  " + outageEnd(outage, now) + ": " +
                                    (outage.text.empty() ? "no fault was reported" : outage.text)),
                      SCREEN_WIDTH, 21))
            lines.push_back(line);
    return lines;
}

std::vector<std::string> eventLines(const std::vector<sEvent>& events) {
    std::vector<std::string> lines;
    for (const sEvent& event : events)
        for (const std::string& line :
             wrapText(printableLine(secondText(event.time) + "  " + event.text), SCREEN_WIDTH, 21))
            lines.push_back(line);
    return lines;
}

std::vector<std::string> usageLines(const std::vector<sUsageLine>& lines) {
    std::vector<std::string> text = {fitTo("Period", 12) + fitTo("SIM", 23) +
                                     fitTo("Received", 11) + fitTo("Sent", 11) +
                                     fitTo("Connected", 12) + "Messages"};
    for (const sUsageLine& line : lines) {
        const sUsage& usage = line.usage;
        text.push_back(fitTo(line.period, 12) +
                       fitTo(line.sim.empty() ? "not known" : line.sim, 23) +
                       fitTo(bytesText(static_cast<double>(usage.receivedBytes)), 11) +
                       fitTo(bytesText(static_cast<double>(usage.sentBytes)), 11) +
                       fitTo(durationText(static_cast<long long>(usage.connectedS)), 12) +
                       std::to_string(usage.receivedMessages + usage.sentMessages));
    }
    return text;
}
