#ifndef LE910SIM_TUN_INTERFACE_H
#define LE910SIM_TUN_INTERFACE_H

#include <string>

#include "le910sim/descriptor.h"
#include "le910sim/network_link.h"

namespace le910sim {

// The modem's network interface: a TUN device with a given name that exists as long as the object.
// The host sets its addresses.
class cTunInterface : public cNetworkLink {
  public:
    // Needs CAP_NET_ADMIN; throws std::runtime_error.
    explicit cTunInterface(const std::string& name);

    int descriptor() const override { return m_device.get(); }
    std::optional<std::vector<uint8_t>> receive() override;
    void send(const std::vector<uint8_t>& packet) override;

  private:
    cDescriptor m_device;
};

}  // namespace le910sim

#endif
