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
    std::optional<sHttpAnswer> find(const sHttpRequest& request) override;

  private:
    std::vector<sSlotReport> slots() const;
    sHttpAnswer messages() const;
    sHttpAnswer history(const sHttpRequest& request) const;

    const sGatewaySite m_setup;
    cLiveStatus m_live;
};

#endif
