#ifndef TESTS_SUPPORT_FAKE_TIME_H
#define TESTS_SUPPORT_FAKE_TIME_H

#include <cstdint>
#include <ctime>
#include <functional>

// The clock of the daemon, which advances only while the daemon sleeps; then a modem has its turn.
// Only one object at a time.
class cFakeTime {
  public:
    cFakeTime();
    virtual ~cFakeTime();
    cFakeTime(const cFakeTime&) = delete;
    cFakeTime& operator=(const cFakeTime&) = delete;

    // Lets time pass as if the daemon slept.
    void pass(uint64_t microseconds);
    uint64_t nowMs() const { return m_nowUs / 1000; }
    timespec wallClock() const;
    // The time of day at the beginning; the host's unless it is set.
    timespec wallStart() const { return m_start; }
    void setWallStart(timespec start) { m_start = start; }
    // Called after each turn of the modem.
    void onTurn(std::function<void()> action) { m_onTurn = std::move(action); }

  protected:
    virtual void turn() = 0;

  private:
    std::function<void()> m_onTurn;
    uint64_t m_nowUs = 0;
    timespec m_start{};
};

#endif
