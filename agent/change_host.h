#ifndef AGENT_CHANGE_HOST_H
#define AGENT_CHANGE_HOST_H

#include "agent/config_change.h"

// The host itself.
class cChangeHost final : public iChangeHost {
  public:
    cChangeHost(const sPlaces& places, std::string program)
        : m_places(places), m_program(std::move(program)) {}

    std::string boot() const override;
    long long runS() const override;
    bool check(const std::string& path, std::string& why) override;
    bool reload(int slot, std::string& why) override;
    bool isConnected(int slot) override;
    void pause() override;

  private:
    const sPlaces m_places;
    const std::string m_program;  // cellslot
};

#endif
