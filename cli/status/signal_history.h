#ifndef CLI_STATUS_SIGNAL_HISTORY_H
#define CLI_STATUS_SIGNAL_HISTORY_H

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "cli/status/signal_quality.h"

// The strength of a slot's signal over the last minutes, as a graph of '#'.
class cSignalHistory {
  public:
    static constexpr unsigned COLUMN_S = 5;
    static constexpr size_t COLUMNS_MAX = 120;

    // atS: seconds of a monotonic clock. An unknown value leaves a gap.
    void add(unsigned atS, std::optional<int> percent);

    // The mean of each column; the last column is the present.
    std::vector<std::optional<int>> columns(unsigned nowS, size_t count) const;

  private:
    struct sSample {
        unsigned atS;
        std::optional<int> percent;
    };
    std::deque<sSample> m_samples;
};

// A title, then rows from strong to weak. width: of the whole graph, at least 20. signal gives the
// scale.
std::vector<std::string> signalGraph(const cSignalHistory& history, const sSignalReading& signal,
                                     unsigned nowS, size_t rows, size_t width);
// The line below the graph: the age of its left end.
std::string graphTimeLine(size_t width);

#endif
