#ifndef OBSERVED_EVENT_WATCH_H
#define OBSERVED_EVENT_WATCH_H

#include <ctime>
#include <string>
#include <vector>

#include "observed/event.h"
#include "observed/reading.h"

// Finds what has happened between two readings.
class cEventWatch {
  public:
    // The status is there, after a start or a loss, or has been there.
    void follow(const sReading& reading, time_t now, std::vector<sEvent>& events);
    // Nothing is known from here on. why: a sentence.
    void lose(time_t lastKnown, const std::string& why, std::vector<sEvent>& events);
    // The clock was set by so many seconds.
    void shift(long long seconds);

    bool isFollowing() const { return m_isFollowing; }

  private:
    void watchConnection(const sReading& reading, time_t now, std::vector<sEvent>& events);
    void watchCause(const sReading& reading, time_t now, std::vector<sEvent>& events);
    bool isRoamingChange(const std::string& registration);
    void watchTexts(const sReading& reading, time_t now, std::vector<sEvent>& events);
    void watchCell(const sReading& reading, time_t now, std::vector<sEvent>& events);
    void watchPort(const sReading& reading, time_t now, std::vector<sEvent>& events);
    void watchDaemon(const sReading& reading, time_t now, std::vector<sEvent>& events);

    bool m_isFollowing = false;
    bool m_isConnected = false;
    bool m_wasConnectedKnown = false;
    time_t m_since = 0;  // of the connection or of the outage
    unsigned m_causes = 0;
    std::string m_cause;
    sReading m_last;           // texts: the last that were known
    std::string m_registered;  // the last that was home or roaming
    time_t m_cellNoted = 0;
    unsigned m_cellChanges = 0;
};

#endif
