#ifndef AGENT_STATUS_FEED_H
#define AGENT_STATUS_FEED_H

#include <optional>
#include <string>

#include "agent/signal_watch.h"
#include "cli/status/slot_report.h"

// What is sent of a slot's status, and when. What changes with time alone is never a reason; what
// an operator looks at first is sent at once, but less and less often while it goes on changing.
class cStatusFeed {
  public:
    // Pauses after what counts at once: none before the first, then from the first to the last.
    static constexpr long long FIRST_PAUSE_S = 10;
    static constexpr long long LAST_PAUSE_S = 300;
    // After so long without a change, the next one counts at once again.
    static constexpr long long QUIET_S = 900;
    // For cells, channels, degrees and counters.
    static constexpr long long SLOW_S = 6 * 3600;

    // A look at the slot; runS: seconds that only go forward.
    void look(const sSlotReport& report, long long runS);

    // The status to be sent, as "cellslot status --json" shows it for this slot; nothing if none is
    // due.
    const std::optional<std::string>& due() const { return m_due; }
    void noteSent() { m_due.reset(); }
    // The broker does not have what was sent, or another one has to have it.
    void sendAgain() { m_isFirst = true; }

    // The signal of the last look, as in the status, if it was news then.
    const std::optional<std::string>& signalNews() const { return m_signalNews; }

  private:
    bool isPaused(long long runS) const { return runS - m_sentAtS < m_pauseS; }

    cSignalWatch m_signal;
    std::string m_urgent;  // as sent
    std::string m_slow;
    std::optional<double> m_degrees;
    bool m_isFirst = true;
    long long m_sentAtS = 0;  // because of something urgent
    long long m_slowAtS = 0;
    long long m_pauseS = 0;
    std::optional<std::string> m_due;
    std::optional<std::string> m_signalNews;
};

#endif
