#include "fleet/fleet_feed.h"

#include <algorithm>

#include "fleet/fleet_context.h"

cFleetFeed::cFleetFeed(const sFleetConfig& config, const sPlaces& places)
    : m_desk(config, places, "", stateSubscriptions(),
             [this](const sTopic& topic, const sIncomingMessage& message) {
                 take(topic, message.payload);
             }) {}

void cFleetFeed::take(const sTopic& topic, const std::string& payload) {
    m_lastMs = monotonicMs();
    const size_t before = m_fleet.refused();
    m_fleet.take(topic, payload);
    if (m_isCollecting) m_fresh.take(topic, payload);
    if (m_fleet.refused() != before)
        ++m_refused;
    else
        m_changed.insert(topic.gateway);
}

bool cFleetFeed::open() {
    while (!m_isComplete) {
        if (!m_desk.isReady() && !m_desk.open()) return false;
        turn(static_cast<int>(cDesk::QUIET_MS), -1);
    }
    return true;
}

void cFleetFeed::turn(int milliseconds, int other) {
    const int step = static_cast<int>(cDesk::QUIET_MS);
    const bool isWaiting = m_isCollecting && m_desk.isReady();
    m_desk.turn(isWaiting ? std::min(milliseconds, step) : milliseconds, other);
    collect();
}

void cFleetFeed::collect() {
    // What a refused subscription would bring has not gone: the last known states stay.
    if (!m_desk.isReady() || !m_desk.refused().empty()) {
        // Without a connection what was collected counts no more.
        if (!m_desk.isConnected()) m_fresh = cFleet();
        m_isCollecting = true;
        m_lastMs = monotonicMs();
        return;
    }
    if (!m_isCollecting || monotonicMs() - m_lastMs < cDesk::QUIET_MS) return;
    for (const auto& [name, gateway] : m_fleet.gateways())
        m_changed.insert(name);
    m_fleet = std::move(m_fresh);
    m_fresh = cFleet();
    m_isCollecting = false;
    m_isComplete = true;
}

std::set<std::string> cFleetFeed::takeChanged() {
    std::set<std::string> changed;
    changed.swap(m_changed);
    return changed;
}
