#ifndef HISTORY_LEDGER_H
#define HISTORY_LEDGER_H

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <utility>

#include "history/usage.h"
#include "history/window.h"

// The usage by SIM, by day and by month (UTC), and how far the history on the disk goes. Days are
// kept for two months, months for three years. As text, a line of JSON each.
class cLedger {
  public:
    // A text that is damaged loses the lines that are.
    static cLedger parse(const std::string& text);
    std::string text() const;

    void add(const sWindow& window);
    // Drops what is too old, and the oldest where there is too much. What is later than now, as a
    // clock that was ahead leaves it, becomes of now.
    void trim(time_t now);

    // The number of the last commit, from 1; 0: none yet.
    uint64_t generation = 0;
    // The end of the last second that was known: of a window, or an event.
    time_t until = 0;
    // Whether the slot's state was not known any more then.
    bool isLost = false;

    // "2026-11-21", "2026-11"; then the SIM.
    using tTable = std::map<std::pair<std::string, std::string>, sUsage>;
    const tTable& days() const { return m_days; }
    const tTable& months() const { return m_months; }

  private:
    tTable m_days;
    tTable m_months;
};

#endif
