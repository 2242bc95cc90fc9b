#ifndef CLI_BASE_WAITING_H
#define CLI_BASE_WAITING_H

#include <csignal>
#include <functional>

constexpr double FOR_EVER = -1;

// Asks for the condition ten times a second. False when it did not come true within the time, or
// when an interruption came (see cInterruption).
bool waitFor(double seconds, const std::function<bool()>& condition);

// While one lives, SIGINT, SIGTERM and SIGHUP do not end the program but are noted, so that what
// was begun can be taken back.
class cInterruption {
  public:
    cInterruption();
    ~cInterruption();
    cInterruption(const cInterruption&) = delete;
    cInterruption& operator=(const cInterruption&) = delete;

    // The signal that came, 0 for none.
    static int signalSeen();

    static constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

  private:
    struct sigaction m_before[3];
};

#endif
