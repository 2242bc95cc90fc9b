#include "cli/status/signal_history.h"

#include <algorithm>

#include "cli/base/display_text.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr size_t AXIS_WIDTH = 6;  // "good |"

bool isFilled(const std::optional<int>& percent, size_t row, size_t rows) {
    if (!percent) return false;
    const int rowsBelow = static_cast<int>(rows - 1 - row);
    // The lowest row is filled if there is a signal at all.
    return rowsBelow == 0 || *percent * static_cast<int>(rows) > 100 * rowsBelow;
}

const char* wordOfRow(const sSignalReading& signal, size_t row, size_t rows) {
    const size_t middle = (2 * (rows - row) - 1) * 50 / rows;
    const int percent = static_cast<int>(middle);
    if (percent >= signal.goodPercent) return "good";
    return percent >= signal.fairPercent ? "fair" : "poor";
}

// The word is at the uppermost of its rows.
std::string axisLabel(const sSignalReading& signal, size_t row, size_t rows) {
    if (signal.quality == eSignalQuality::UNKNOWN) return "";
    const std::string word = wordOfRow(signal, row, rows);
    return row > 0 && word == wordOfRow(signal, row - 1, rows) ? "" : word;
}

std::string graphTitle(const sSignalReading& signal) {
    if (signal.quality == eSignalQuality::UNKNOWN) return "Signal: none";
    return signal.strengthName + " from " + shortNumber(signal.emptyDbm) + " to " +
           shortNumber(signal.fullDbm) + " dBm";
}

size_t columnsOf(size_t width) {
    return std::min(width - AXIS_WIDTH, cSignalHistory::COLUMNS_MAX);
}

}  // namespace

void cSignalHistory::add(unsigned atS, std::optional<int> percent) {
    m_samples.push_back({atS, percent});
    while (m_samples.front().atS + COLUMN_S * (COLUMNS_MAX + 1) < atS)
        m_samples.pop_front();
}

std::vector<std::optional<int>> cSignalHistory::columns(unsigned nowS, size_t count) const {
    struct sMean {
        int sum = 0;
        int count = 0;
    };
    std::vector<sMean> means(count);
    for (const sSample& sample : m_samples) {
        const size_t age = nowS / COLUMN_S - sample.atS / COLUMN_S;
        if (age >= count || !sample.percent) continue;
        sMean& mean = means[count - 1 - age];
        mean.sum += *sample.percent;
        ++mean.count;
    }
    std::vector<std::optional<int>> columns(count);
    for (size_t i = 0; i < count; ++i)
        if (means[i].count > 0) columns[i] = means[i].sum / means[i].count;
    return columns;
}

std::vector<std::string> signalGraph(const cSignalHistory& history, const sSignalReading& signal,
                                     unsigned nowS, size_t rows, size_t width) {
    const std::vector<std::optional<int>> columns = history.columns(nowS, columnsOf(width));
    std::vector<std::string> lines = {graphTitle(signal)};
    for (size_t row = 0; row < rows; ++row) {
        std::string line = fitTo(axisLabel(signal, row, rows), AXIS_WIDTH - 1) + "|";
        for (const std::optional<int>& percent : columns)
            line += isFilled(percent, row, rows) ? '#' : ' ';
        lines.push_back(cleanEndWhiteSpace(line));
    }
    return lines;
}

std::string graphTimeLine(size_t width) {
    const size_t columns = columnsOf(width);
    const std::string end = "now";
    std::string start =
        durationText(static_cast<long long>(columns) * cSignalHistory::COLUMN_S) + " ago";
    if (start.size() + 1 + end.size() > columns) start.clear();
    return std::string(AXIS_WIDTH, ' ') + fitTo(start, columns - end.size()) + end;
}
