#ifndef PLATFORM_INCLUDE_TIMER_H
#define PLATFORM_INCLUDE_TIMER_H

#include <cstdint>

// A timer counted in whole seconds of a clock that neither suspend nor a change of the wall clock
// disturbs. A timer is stopped when constructed. Three questions, three answers:
//
//              stopped   started, period left   started, period over
//   enabled    no        yes                    yes
//   running    no        yes                    no
//   done       yes       no                     yes
//
// A caller that means "has run out" therefore asks for enabled first. A period of 0 is over at
// once and still counts its elapsed time.
class cTimer {
  public:
    // type: 0 is the only one in use. periodS: seconds.
    explicit cTimer(int type = 0, unsigned periodS = 0);

    // Counts anew from 0, also when the timer is running or has run out.
    void Start();
    void Stop();

    // Neither starts nor stops the timer.
    void SetTimeout(unsigned periodS);
    unsigned GetTimeout() const;

    bool IsTimerEnabled() const;
    bool IsTimerRunning() const;
    bool IsTimerDone() const;

    // Whole seconds since Start, also beyond the period; 0 when stopped.
    unsigned GetElapsedTime() const;

  private:
    unsigned m_periodS;
    bool m_enabled = false;
    uint64_t m_startedMs = 0;
};

#endif
