#ifndef MQTT_RECONNECT_PAUSE_H
#define MQTT_RECONNECT_PAUSE_H

#include <cstdint>

// Pauses between attempts to connect: one second, then twice as long each time, up to ten minutes;
// each a random part between its half and its whole. Thousands of gateways whose broker was away so
// come back one after the other.
class cReconnectPause {
  public:
    // random: any number, a new one for each call. Milliseconds.
    int64_t next(uint32_t random);
    // The connection has lasted: the next pause is short again.
    void reset() { m_wholeMs = FIRST_MS; }

    static constexpr int64_t FIRST_MS = 1000;
    static constexpr int64_t LONGEST_MS = 600'000;
    // A connection that lasts so long was a good one; one that the broker ends at once was not.
    static constexpr int64_t GOOD_MS = 60'000;

  private:
    int64_t m_wholeMs = FIRST_MS;
};

#endif
