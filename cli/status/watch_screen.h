#ifndef CLI_STATUS_WATCH_SCREEN_H
#define CLI_STATUS_WATCH_SCREEN_H

#include <map>
#include <string>
#include <vector>

#include "cli/status/signal_history.h"
#include "cli/status/slot_report.h"
#include "cli/status/status_screen.h"

struct sTerminalSize {
    size_t rows = 24;
    size_t columns = 80;
};

// By slot.
using tHistories = std::map<int, cSignalHistory>;

// The live screen: at most size.rows lines of size.columns - 1 columns. Problems come first and are
// the last to be cut. footer is the last line.
tLines watchScreen(const std::vector<sSlotReport>& reports, const tHistories& histories,
                   unsigned nowS, const sTerminalSize& size, const std::string& footer);

#endif
