#include "le910sim/icmp_echo.h"

#include <sys/socket.h>

#include <algorithm>

#include "le910sim/text.h"

namespace le910sim {

namespace {

using tBytes = std::vector<uint8_t>;

constexpr size_t IPV4_HEADER = 20;
constexpr size_t IPV6_HEADER = 40;
constexpr size_t ICMP_HEADER = 8;
constexpr uint8_t PROTOCOL_ICMP = 1;
constexpr uint8_t PROTOCOL_ICMPV6 = 58;
constexpr uint8_t TTL = 64;

size_t number16(const tBytes& packet, size_t at) {
    return static_cast<size_t>(packet[at] << 8 | packet[at + 1]);
}

void store16(tBytes& packet, size_t at, uint16_t value) {
    packet[at] = static_cast<uint8_t>(value >> 8);
    packet[at + 1] = static_cast<uint8_t>(value);
}

std::optional<tBytes> replyIpv4(tBytes packet,
                                const std::function<bool(const std::string&)>& carries) {
    if (packet.size() < IPV4_HEADER) return std::nullopt;
    const size_t header = static_cast<size_t>(packet[0] & 0x0F) * 4;
    const size_t total = number16(packet, 2);
    const bool fragment = (number16(packet, 6) & 0x3FFFU) != 0;
    if (header < IPV4_HEADER || total > packet.size() || total < header + ICMP_HEADER || fragment ||
        packet[9] != PROTOCOL_ICMP || packet[header] != 8) {
        return std::nullopt;
    }
    if (!carries(addressText(AF_INET, packet.data() + 12))) return std::nullopt;
    packet.resize(total);
    std::swap_ranges(packet.begin() + 12, packet.begin() + 16, packet.begin() + 16);
    packet[8] = TTL;
    store16(packet, 10, 0);
    const auto body = packet.begin() + static_cast<std::ptrdiff_t>(header);
    store16(packet, 10, internetChecksum(tBytes(packet.begin(), body)));
    packet[header] = 0;
    store16(packet, header + 2, 0);
    store16(packet, header + 2, internetChecksum(tBytes(body, packet.end())));
    return packet;
}

// The checksum of ICMPv6 covers a header of addresses, length and protocol, RFC 8200 section 8.1.
uint16_t checksumIpv6(const tBytes& packet) {
    tBytes covered(packet.begin() + 8, packet.begin() + IPV6_HEADER);
    const size_t length = packet.size() - IPV6_HEADER;
    for (const size_t shift : {24U, 16U, 8U, 0U}) {
        covered.push_back(static_cast<uint8_t>(length >> shift));
    }
    covered.insert(covered.end(), {0, 0, 0, PROTOCOL_ICMPV6});
    covered.insert(covered.end(), packet.begin() + IPV6_HEADER, packet.end());
    return internetChecksum(covered);
}

std::optional<tBytes> replyIpv6(tBytes packet,
                                const std::function<bool(const std::string&)>& carries) {
    if (packet.size() < IPV6_HEADER + ICMP_HEADER) return std::nullopt;
    const size_t length = number16(packet, 4);
    if (length < ICMP_HEADER || IPV6_HEADER + length > packet.size() ||
        packet[6] != PROTOCOL_ICMPV6 || packet[IPV6_HEADER] != 128) {
        return std::nullopt;
    }
    if (!carries(addressText(AF_INET6, packet.data() + 8))) return std::nullopt;
    packet.resize(IPV6_HEADER + length);
    std::swap_ranges(packet.begin() + 8, packet.begin() + 24, packet.begin() + 24);
    packet[7] = TTL;
    packet[IPV6_HEADER] = 129;
    storeIcmpv6Checksum(packet);
    return packet;
}

}  // namespace

void storeIcmpv6Checksum(tBytes& packet) {
    store16(packet, IPV6_HEADER + 2, 0);
    store16(packet, IPV6_HEADER + 2, checksumIpv6(packet));
}

uint16_t internetChecksum(const tBytes& bytes) {
    uint32_t sum = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        sum += i % 2 == 0 ? static_cast<uint32_t>(bytes[i]) << 8U : bytes[i];
    }
    while (sum >> 16U != 0)
        sum = (sum & 0xFFFFU) + (sum >> 16U);
    return static_cast<uint16_t>(~sum);
}

std::optional<tBytes> echoReply(const tBytes& packet,
                                const std::function<bool(const std::string& source)>& carries) {
    if (packet.empty()) return std::nullopt;
    switch (packet[0] >> 4) {
        case 4:
            return replyIpv4(packet, carries);
        case 6:
            return replyIpv6(packet, carries);
        default:
            return std::nullopt;
    }
}

}  // namespace le910sim
