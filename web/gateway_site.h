#ifndef WEB_GATEWAY_SITE_H
#define WEB_GATEWAY_SITE_H

#include "cli/base/places.h"
#include "http/site.h"
#include "web/live_status.h"
#include "web/web_config.h"

struct sGatewaySite {
    sPlaces places;
    sWebConfig config;
    std::string pageFolder;
    std::string passwordHash;
    std::string historyProgram;
};

// The page of one gateway: the state of its slots, their history and messages.
class cGatewaySite : public cSite {
  public:
    explicit cGatewaySite(const sGatewaySite& setup);

    void look() override;
    const cStreamSource& stream() const override { return m_live; }

  protected:
    std::optional<sAnswer> find(const sRequest& request) override;

  private:
    std::vector<sSlotReport> slots() const;
    sAnswer messages() const;
    sAnswer history(const sRequest& request) const;

    const sGatewaySite m_setup;
    cLiveStatus m_live;
};

#endif
