#ifndef FLEET_FLEET_SITE_H
#define FLEET_FLEET_SITE_H

#include "fleet/filter.h"
#include "fleet/fleet_feed.h"
#include "fleet/live_fleet.h"
#include "http/site.h"

constexpr const char* FLEET_PAGE_FOLDER = "/usr/share/cellslot-fleet";

// The page of a fleet: it only shows. Commands are sent by cellslot-fleet send.
class cFleetSite : public cSite {
  public:
    // feed has to outlive it.
    cFleetSite(sSiteSetup setup, cFleetFeed& feed);

    void look() override;
    const cStreamSource& stream() const override { return m_live; }

  protected:
    std::optional<sHttpAnswer> find(const sHttpRequest& request) override;

  private:
    sHttpAnswer metrics() const;
    sHttpAnswer fleet(const sHttpRequest& request) const;
    sHttpAnswer gateway(const std::string& name) const;
    void update(const std::string& name, time_t now);

    cFleetFeed& m_feed;
    cLiveFleet m_live;
    int64_t m_sweptMs = 0;  // when all gateways were judged
};

// A value of a query, with "%41" and '+' for a blank; nothing if an escape is wrong or stands for a
// control character.
std::optional<std::string> queryText(const std::string& value);

#endif
