#ifndef CLI_BASE_WAITING_H
#define CLI_BASE_WAITING_H

#include <csignal>
#include <functional>

constexpr double FOR_EVER = -1;

// Checks the condition ten times a second. False if it did not come true in time, or if a signal
// came (see cInterruption).
bool waitFor(double seconds, const std::function<bool()>& condition);

// For its lifetime, SIGINT, SIGTERM and SIGHUP are noted instead of ending the program, so that it
// can withdraw what it has begun.
class cInterruption {
  public:
    cInterruption();
    ~cInterruption();
    cInterruption(const cInterruption&) = delete;
    cInterruption& operator=(const cInterruption&) = delete;

    // The signal that came; 0 if none.
    static int signalSeen();

    static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

  private:
    struct sigaction m_before[3];
};

#endif
