#ifndef LE910SIM_NETWORK_LINK_H
#define LE910SIM_NETWORK_LINK_H

#include <cstdint>
#include <optional>
#include <vector>

namespace le910sim {

// Where the host's packets come out and the network's go in.
class cNetworkLink {
  public:
    cNetworkLink() = default;
    virtual ~cNetworkLink() = default;
    cNetworkLink(const cNetworkLink&) = delete;
    cNetworkLink& operator=(const cNetworkLink&) = delete;

    virtual int descriptor() const = 0;
    // An IP packet that the host sent, nothing when none is waiting.
    virtual std::optional<std::vector<uint8_t>> receive() = 0;
    // A host that cannot take the packet loses it, as on any link.
    virtual void send(const std::vector<uint8_t>& packet) = 0;
};

}  // namespace le910sim

#endif
