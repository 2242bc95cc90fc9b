#ifndef LE910SIM_TUN_INTERFACE_H
#define LE910SIM_TUN_INTERFACE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "le910sim/descriptor.h"

namespace le910sim {

// The modem's network interface: a TUN device with a given name that exists as long as the object.
// The host sets its addresses.
class cTunInterface {
  public:
    // Needs CAP_NET_ADMIN; throws std::runtime_error.
    explicit cTunInterface(const std::string& name);

    int descriptor() const { return m_device.get(); }
    // A packet that the host sent, nothing if none is waiting.
    std::optional<std::vector<uint8_t>> receive();
    void send(const std::vector<uint8_t>& packet);

  private:
    cDescriptor m_device;
};

}  // namespace le910sim

#endif
