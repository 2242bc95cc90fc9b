#ifndef AGENT_SIGNAL_WATCH_H
#define AGENT_SIGNAL_WATCH_H

#include <optional>

#include "cli/status/signal_quality.h"

// Decides when a signal is worth sending: a kilobyte costs, and a signal is never still. It is when
// the rating is another one by a clear margin, or when a figure has moved far; at most every five
// minutes.
class cSignalWatch {
  public:
    static constexpr long long PAUSE_S = 300;
    static constexpr double MARGIN_DB = 3;
    static constexpr double FAR_DB = 6;

    // runS: seconds that only go forward.
    bool isNews(const sSignalReading& signal, long long runS) const;
    void noteSent(const sSignalReading& signal, long long runS);

  private:
    std::optional<sSignalReading> m_sent;
    long long m_sentAtS = 0;
};

#endif
