#ifndef FLEET_LIVE_FLEET_H
#define FLEET_LIVE_FLEET_H

#include <deque>
#include <map>
#include <string>
#include <utility>

#include "fleet/judgement.h"
#include "http/stream_source.h"

// What the readers of the fleet's stream get, as server-sent events. A slow reader gets what has
// changed since its last message in one.
//   event: fleet     {"trouble": why there is no connection to the broker, "gateways":
//   [listedJson]} event: changes   the same with the gateways that have changed, and "gone":
//   [names]
class cLiveFleet : public cStreamSource {
  public:
    cLiveFleet() = default;

    void update(const sJudgement& judgement, time_t now);
    void remove(const std::string& name);
    void setTrouble(const std::string& trouble);

    tMessage next(sPosition& position) const override;
    bool hasNext(const sPosition& position) const override;

    // A reader that has missed more than so many that are gone gets everything anew.
    static constexpr size_t GONE_MAX = 1000;

  private:
    struct sEntry {
        size_t compared = 0;  // hash of what is compared: all but what only time changes
        std::string json;
        unsigned changed = 0;  // m_now.part at that time
    };
    // The last message of a kind, which most readers want.
    struct sMade {
        unsigned from = 0;
        sPosition to;
        tMessage message;
    };

    std::string gatewaysSince(unsigned part) const;
    std::string goneSince(unsigned part) const;
    tMessage made(sMade& last, unsigned from, const char* name) const;

    std::map<std::string, sEntry> m_entries;
    std::deque<std::pair<unsigned, std::string>> m_gone;
    std::string m_trouble;
    sPosition m_now{1, 1};
    mutable sMade m_whole;
    mutable sMade m_changes;
};

#endif
