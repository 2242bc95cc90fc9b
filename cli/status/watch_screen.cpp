#include "cli/status/watch_screen.h"

#include <algorithm>

#include "cli/base/display_text.h"

namespace {

constexpr size_t GRAPH_ROWS_MIN = 3;
constexpr size_t SMALL_GRAPH_ROWS_MIN = 1;
constexpr size_t GRAPH_ROWS_MAX = 8;
constexpr size_t TITLE_ROWS = 1;
constexpr size_t TIME_ROWS = 1;
constexpr size_t BLANK_ROWS = 1;
constexpr size_t GRAPH_WIDTH_MIN = 20;

void append(tLines& lines, const tLines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

// Cuts lines that do not fit; the last line then says so.
void keepRows(tLines& lines, size_t rows) {
    if (lines.size() <= rows) return;
    lines.resize(rows);
    if (rows > 1) lines.back() = "    (more lines: see cellslot status)";
}

const cSignalHistory& historyOf(const tHistories& histories, int slot) {
    static const cSignalHistory NONE;
    const auto found = histories.find(slot);
    return found == histories.end() ? NONE : found->second;
}

sSignalReading signalOf(const sSlotReport& report) {
    return report.isGood() ? readSignal(report.file.record) : sSignalReading();
}

// Problems and a small graph have priority over the details.
tLines oneSlot(const sSlotReport& report, const tHistories& histories, unsigned nowS, size_t rows,
               size_t width) {
    constexpr size_t FRAME = BLANK_ROWS + TITLE_ROWS + TIME_ROWS;
    const sDiagnosis diagnosis = diagnose(report);
    tLines lines = {slotHeadline(report, diagnosis)};
    append(lines, problemLines(diagnosis));
    keepRows(lines, rows);
    if (report.isGood()) {
        tLines details = {""};
        append(details, slotDetails(report, diagnosis));
        const size_t taken = lines.size() + FRAME + GRAPH_ROWS_MIN;
        details.resize(std::min(details.size(), rows > taken ? rows - taken : 0));
        append(lines, details);
    }
    if (rows < lines.size() + FRAME + GRAPH_ROWS_MIN) return lines;
    const size_t height = std::min(rows - lines.size() - FRAME, GRAPH_ROWS_MAX);
    lines.emplace_back();
    append(lines,
           signalGraph(historyOf(histories, report.slot), diagnosis.signal, nowS, height, width));
    lines.push_back(graphTimeLine(width));
    return lines;
}

tLines severalSlots(const std::vector<sSlotReport>& reports, const tHistories& histories,
                    unsigned nowS, size_t rows, size_t width) {
    const tLines table = slotsTable(reports);
    tLines lines = slotsProblems(reports);
    keepRows(lines, rows > table.size() + BLANK_ROWS ? rows - table.size() - BLANK_ROWS : 0);
    if (!lines.empty()) lines.emplace_back();
    append(lines, table);
    keepRows(lines, rows);
    const size_t room = rows - lines.size();
    const size_t each = room > TIME_ROWS ? (room - TIME_ROWS) / reports.size() : 0;
    if (each < TITLE_ROWS + SMALL_GRAPH_ROWS_MIN) return lines;
    for (const sSlotReport& report : reports) {
        tLines graph = signalGraph(historyOf(histories, report.slot), signalOf(report), nowS,
                                   std::min(each - TITLE_ROWS, GRAPH_ROWS_MAX), width);
        graph.front() = "Slot " + std::to_string(report.slot) + "  " + graph.front();
        append(lines, graph);
    }
    lines.push_back(graphTimeLine(width));
    return lines;
}

}  // namespace

tLines watchScreen(const std::vector<sSlotReport>& reports, const tHistories& histories,
                   unsigned nowS, const sTerminalSize& size, const std::string& footer) {
    const size_t width = std::min(size.columns - 1, SCREEN_WIDTH);
    const size_t graphWidth = std::max(width, GRAPH_WIDTH_MIN);
    const size_t rows = size.rows - 1;
    tLines lines;
    if (reports.empty())
        lines = {"No slot has a daemon, a status file or a configuration."};
    else if (reports.size() == 1)
        lines = oneSlot(reports.front(), histories, nowS, rows, graphWidth);
    else
        lines = severalSlots(reports, histories, nowS, rows, graphWidth);
    lines.resize(rows);
    lines.push_back(footer);
    for (std::string& line : lines)
        line = cutTo(line, width);
    return lines;
}
