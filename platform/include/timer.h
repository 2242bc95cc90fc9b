#ifndef PLATFORM_INCLUDE_TIMER_H
#define PLATFORM_INCLUDE_TIMER_H

#include <cstdint>

// A timer in whole seconds, on a clock that neither suspend nor a change of the wall clock affects.
// A new timer is stopped. Its three functions answer:
//
//              stopped   started, period left   started, period over
//   enabled    no        yes                    yes
//   running    no        yes                    no
//   done       yes       no                     yes
//
// So a caller that means "has run out" must check enabled first. A period of 0 is over at once, but
// its elapsed time is still counted.
class cTimer {
  public:
    // type: only 0 is in use. periodS: seconds.
    explicit cTimer(int type = 0, unsigned periodS = 0);

    // Restarts from 0, also if the timer is running or has run out.
    void Start();
    void Stop();

    // Neither starts nor stops the timer.
    void SetTimeout(unsigned periodS);
    unsigned GetTimeout() const;

    bool IsTimerEnabled() const;
    bool IsTimerRunning() const;
    bool IsTimerDone() const;

    // Whole seconds since Start, also beyond the period; 0 if stopped.
    unsigned GetElapsedTime() const;

  private:
    unsigned m_periodS;
    bool m_enabled = false;
    uint64_t m_startedMs = 0;
};

#endif
