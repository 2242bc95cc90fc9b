#ifndef FLEET_FLEET_FEED_H
#define FLEET_FLEET_FEED_H

#include <set>
#include <string>

#include "fleet/desk.h"
#include "fleet/fleet_model.h"

// The fleet, kept up to date for as long as the program runs. While there is no connection to the
// broker it stays as it was; after it the gateways that the broker does not know any more
// disappear.
class cFleetFeed {
  public:
    cFleetFeed(const sFleetConfig& config, const sPlaces& places);

    // As cDesk::collect.
    bool open();
    // As cDesk::turn.
    void turn(int milliseconds, int other);

    const cFleet& fleet() const { return m_fleet; }
    // All that the broker keeps has come, at least once.
    bool isComplete() const { return m_isComplete; }
    // Why nothing comes from the broker; empty if there is nothing to say.
    std::string trouble() const { return m_desk.trouble(); }
    // As cFleet::refused, since the program began.
    size_t refused() const { return m_refused; }
    // Gateways that have said something, or are gone, since the last call.
    std::set<std::string> takeChanged();

  private:
    void take(const sTopic& topic, const std::string& payload);
    void collect();

    cFleet m_fleet;
    cFleet m_fresh;  // while it is collected: what has come since the connection
    bool m_isCollecting = true;
    bool m_isComplete = false;
    int64_t m_lastMs = 0;  // when something came
    size_t m_refused = 0;
    std::set<std::string> m_changed;
    cDesk m_desk;  // last: its handler uses all of this
};

#endif
