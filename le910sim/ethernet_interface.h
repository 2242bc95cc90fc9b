#ifndef LE910SIM_ETHERNET_INTERFACE_H
#define LE910SIM_ETHERNET_INTERFACE_H

#include <functional>
#include <string>

#include "le910sim/descriptor.h"
#include "le910sim/ethernet.h"
#include "le910sim/network_link.h"

namespace le910sim {

// An Ethernet interface that is there already and leads to the host, such as the modem's side of a
// USB gadget's network function. It is set up and answers for all neighbours; its addresses are
// nobody's.
class cEthernetInterface : public cNetworkLink {
  public:
    // own: whether an address is the host's. Needs CAP_NET_ADMIN and CAP_NET_RAW; throws
    // std::runtime_error.
    cEthernetInterface(const std::string& name, std::function<bool(const std::string&)> own);

    int descriptor() const override { return m_socket.get(); }
    std::optional<std::vector<uint8_t>> receive() override;
    void send(const std::vector<uint8_t>& packet) override;

  private:
    void findHardwareAddress(const std::string& name);
    void setUp(const std::string& name);
    void bindTo(const std::string& name);
    std::optional<std::vector<uint8_t>> receiveFrame();
    void sendFrame(const std::vector<uint8_t>& frame);

    std::function<bool(const std::string&)> m_own;
    cDescriptor m_socket;
    tHardwareAddress m_address = {};
    tHardwareAddress m_hostAddress = {};
};

}  // namespace le910sim

#endif
