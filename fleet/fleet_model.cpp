#include "fleet/fleet_model.h"

void cFleet::take(const sTopic& topic, const std::string& payload) {
    if (topic.kind != eTopic::AVAILABILITY && topic.kind != eTopic::STATUS) return;
    if (payload.empty()) return remove(topic);
    if (!store(topic, payload)) ++m_refused;
}

bool cFleet::store(const sTopic& topic, const std::string& payload) {
    if (topic.slot > SLOT_MAX) return false;
    const bool isKnown = m_gateways.count(topic.gateway) > 0;
    if (!isKnown && m_gateways.size() == GATEWAYS_MAX) return false;
    std::optional<sAvailability> availability;
    std::optional<sSlotState> state;
    if (topic.kind == eTopic::AVAILABILITY)
        availability = parseAvailability(payload);
    else
        state = readSlotState(payload, topic.slot);
    if (!availability && !state) return false;
    sGateway& gateway = m_gateways[topic.gateway];
    gateway.name = topic.gateway;
    if (availability) gateway.availability = std::move(availability);
    if (state) gateway.slots[topic.slot] = std::move(*state);
    return true;
}

void cFleet::remove(const sTopic& topic) {
    const auto found = m_gateways.find(topic.gateway);
    if (found == m_gateways.end()) return;
    sGateway& gateway = found->second;
    if (topic.kind == eTopic::AVAILABILITY)
        gateway.availability.reset();
    else
        gateway.slots.erase(topic.slot);
    if (!gateway.availability && gateway.slots.empty()) m_gateways.erase(found);
}
