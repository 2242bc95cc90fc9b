#ifndef FLEET_EVENT_LINES_H
#define FLEET_EVENT_LINES_H

#include <bitset>
#include <cstdint>
#include <map>
#include <string>

#include "mqtt/messages.h"
#include "mqtt/topics.h"

// What gateways report, line by line, each once.

// Knows the messages that came before by their ids. After a broken line the broker sends again what
// was not acknowledged, which are the last ones of a gateway.
class cSeenIds {
  public:
    // True the first time.
    bool isNew(const std::string& gateway, const sMessageId& id);

    // Of each gateway; one that is older than so many before the last counts as new.
    static constexpr size_t KEPT = 256;

  private:
    // Numbers count up by one: a bit for each is 200 bytes for a gateway, their texts 8 kB.
    struct sLast {
        std::string stream;
        uint64_t greatest = 0;
        std::bitset<KEPT> seen;  // from the greatest downwards
    };
    std::map<std::string, sLast> m_last;  // by gateway
};

// "2026-11-22T19:30:00Z  pump-7/1  lost: ...": printable. Empty if the message is not one of these.
std::string eventLine(const sTopic& topic, const std::string& payload, cSeenIds& seen);

// The message with "gateway" and "slot", as JSON on one line. Empty as above.
std::string eventJson(const sTopic& topic, const std::string& payload, cSeenIds& seen);

#endif
