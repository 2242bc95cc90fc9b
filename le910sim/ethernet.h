#ifndef LE910SIM_ETHERNET_H
#define LE910SIM_ETHERNET_H

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace le910sim {

using tHardwareAddress = std::array<uint8_t, 6>;

constexpr size_t ETHERNET_HEADER = 14;

// A modem with an Ethernet-like interface stands for every neighbour that the host asks for: the
// answer to an ARP request (RFC 826) or a neighbour solicitation (RFC 4861) in this frame, with
// this hardware address. No answer to a host that looks whether its own address is free (own: is it
// the host's?).
std::optional<std::vector<uint8_t>> neighbourReply(
    const std::vector<uint8_t>& frame, const tHardwareAddress& hardwareAddress,
    const std::function<bool(const std::string& address)>& own);

// The IP packet in a frame; nothing for other frames.
std::optional<std::vector<uint8_t>> packetOf(const std::vector<uint8_t>& frame);

// A frame with this IP packet.
std::vector<uint8_t> frameOf(const std::vector<uint8_t>& packet, const tHardwareAddress& to,
                             const tHardwareAddress& from);

}  // namespace le910sim

#endif
