#ifndef FLEET_FLEET_MODEL_H
#define FLEET_FLEET_MODEL_H

#include <map>
#include <string>

#include "fleet/gateway.h"
#include "mqtt/topics.h"

// The gateways as the broker's retained messages say they are. Nothing else is remembered.
class cFleet {
  public:
    // Takes a state; other messages do not count. An empty text removes it, as the broker does.
    void take(const sTopic& topic, const std::string& payload);

    // By name.
    const std::map<std::string, sGateway>& gateways() const { return m_gateways; }
    // Messages that no gateway of ours would send, or that found no room.
    size_t refused() const { return m_refused; }

    static constexpr size_t GATEWAYS_MAX = 200'000;
    static constexpr int SLOT_MAX = 16;

  private:
    bool store(const sTopic& topic, const std::string& payload);
    void remove(const sTopic& topic);

    std::map<std::string, sGateway> m_gateways;
    size_t m_refused = 0;
};

#endif
