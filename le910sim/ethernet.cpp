#include "le910sim/ethernet.h"

#include <sys/socket.h>

#include <algorithm>

#include "le910sim/icmp_echo.h"
#include "le910sim/text.h"

namespace le910sim {

namespace {

using tBytes = std::vector<uint8_t>;

constexpr size_t TYPE_AT = 12;
constexpr size_t TYPE_IPV4 = 0x0800;
constexpr size_t TYPE_ARP = 0x0806;
constexpr size_t TYPE_IPV6 = 0x86DD;

// ARP for Ethernet and IPv4, by offset in the frame.
constexpr size_t ARP_OPERATION_AT = 20;
constexpr size_t ARP_SENDER_AT = 22;
constexpr size_t ARP_SENDER_IP_AT = 28;
constexpr size_t ARP_TARGET_AT = 32;
constexpr size_t ARP_TARGET_IP_AT = 38;
constexpr size_t ARP_END = 42;
constexpr std::array<uint8_t, 8> ARP_REQUEST = {0, 1, 8, 0, 6, 4, 0, 1};

// A neighbour solicitation, by offset in the frame.
constexpr size_t IPV6_SOURCE_AT = ETHERNET_HEADER + 8;
constexpr size_t ICMPV6_AT = ETHERNET_HEADER + 40;
constexpr size_t TARGET_AT = ICMPV6_AT + 8;
constexpr size_t SOLICITATION_END = TARGET_AT + 16;
constexpr uint8_t PROTOCOL_ICMPV6 = 58;
constexpr uint8_t SOLICITATION = 135;
constexpr uint8_t ADVERTISEMENT = 136;
constexpr uint8_t SOLICITED_OVERRIDE = 0x60;
constexpr uint8_t OPTION_TARGET_ADDRESS = 2;
constexpr uint8_t HOP_LIMIT = 255;

size_t typeOf(const tBytes& frame) {
    if (frame.size() < ETHERNET_HEADER) return 0;
    return static_cast<size_t>(frame[TYPE_AT] << 8 | frame[TYPE_AT + 1]);
}

auto at(const tBytes& bytes, size_t offset) {
    return bytes.begin() + static_cast<std::ptrdiff_t>(offset);
}

bool unspecified(const tBytes& bytes, size_t offset, size_t length) {
    return std::all_of(at(bytes, offset), at(bytes, offset + length),
                       [](uint8_t byte) { return byte == 0; });
}

void append(tBytes& bytes, const tBytes& source, size_t offset, size_t length) {
    bytes.insert(bytes.end(), at(source, offset), at(source, offset + length));
}

tBytes header(const tHardwareAddress& to, const tHardwareAddress& from, size_t type) {
    tBytes bytes(to.begin(), to.end());
    bytes.insert(bytes.end(), from.begin(), from.end());
    bytes.push_back(static_cast<uint8_t>(type >> 8U));
    bytes.push_back(static_cast<uint8_t>(type));
    return bytes;
}

tHardwareAddress senderOf(const tBytes& frame) {
    tHardwareAddress sender = {};
    std::copy_n(at(frame, sender.size()), sender.size(), sender.begin());
    return sender;
}

std::optional<tBytes> arpReply(const tBytes& frame, const tHardwareAddress& hardwareAddress,
                               const std::function<bool(const std::string&)>& own) {
    if (frame.size() < ARP_END ||
        !std::equal(ARP_REQUEST.begin(), ARP_REQUEST.end(), at(frame, ETHERNET_HEADER)) ||
        unspecified(frame, ARP_SENDER_IP_AT, 4) ||
        std::equal(at(frame, ARP_SENDER_IP_AT), at(frame, ARP_TARGET_AT),
                   at(frame, ARP_TARGET_IP_AT)) ||
        own(addressText(AF_INET, frame.data() + ARP_TARGET_IP_AT))) {
        return std::nullopt;
    }
    tBytes reply = header(senderOf(frame), hardwareAddress, TYPE_ARP);
    append(reply, frame, ETHERNET_HEADER, ARP_OPERATION_AT - ETHERNET_HEADER);
    reply.insert(reply.end(), {0, 2});
    reply.insert(reply.end(), hardwareAddress.begin(), hardwareAddress.end());
    append(reply, frame, ARP_TARGET_IP_AT, 4);
    append(reply, frame, ARP_SENDER_AT, ARP_TARGET_AT - ARP_SENDER_AT);
    return reply;
}

std::optional<tBytes> advertisement(const tBytes& frame, const tHardwareAddress& hardwareAddress,
                                    const std::function<bool(const std::string&)>& own) {
    if (frame.size() < SOLICITATION_END || frame[ETHERNET_HEADER + 6] != PROTOCOL_ICMPV6 ||
        frame[ICMPV6_AT] != SOLICITATION || unspecified(frame, IPV6_SOURCE_AT, 16) ||
        own(addressText(AF_INET6, frame.data() + TARGET_AT))) {
        return std::nullopt;
    }
    tBytes message = {ADVERTISEMENT, 0, 0, 0, SOLICITED_OVERRIDE, 0, 0, 0};
    append(message, frame, TARGET_AT, 16);
    message.insert(message.end(), {OPTION_TARGET_ADDRESS, 1});
    message.insert(message.end(), hardwareAddress.begin(), hardwareAddress.end());
    tBytes packet = {0x60,     0, 0, 0, 0, static_cast<uint8_t>(message.size()), PROTOCOL_ICMPV6,
                     HOP_LIMIT};
    append(packet, frame, TARGET_AT, 16);
    append(packet, frame, IPV6_SOURCE_AT, 16);
    packet.insert(packet.end(), message.begin(), message.end());
    storeIcmpv6Checksum(packet);
    return frameOf(packet, senderOf(frame), hardwareAddress);
}

}  // namespace

std::optional<tBytes> neighbourReply(const tBytes& frame, const tHardwareAddress& hardwareAddress,
                                     const std::function<bool(const std::string& address)>& own) {
    if (typeOf(frame) == TYPE_ARP) return arpReply(frame, hardwareAddress, own);
    if (typeOf(frame) == TYPE_IPV6) return advertisement(frame, hardwareAddress, own);
    return std::nullopt;
}

std::optional<tBytes> packetOf(const tBytes& frame) {
    if (typeOf(frame) != TYPE_IPV4 && typeOf(frame) != TYPE_IPV6) return std::nullopt;
    return tBytes(at(frame, ETHERNET_HEADER), frame.end());
}

tBytes frameOf(const tBytes& packet, const tHardwareAddress& to, const tHardwareAddress& from) {
    const bool ipv6 = !packet.empty() && packet[0] >> 4 == 6;
    tBytes frame = header(to, from, ipv6 ? TYPE_IPV6 : TYPE_IPV4);
    frame.insert(frame.end(), packet.begin(), packet.end());
    return frame;
}

}  // namespace le910sim
