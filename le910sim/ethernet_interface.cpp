#include "le910sim/ethernet_interface.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace le910sim {

namespace {

ifreq requestFor(const std::string& name) {
    ifreq request = {};
    if (name.empty() || name.size() >= sizeof(request.ifr_name)) {
        throw std::runtime_error("'" + name + "' is no name of an interface");
    }
    std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
    return request;
}

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

}  // namespace

cEthernetInterface::cEthernetInterface(const std::string& name,
                                       std::function<bool(const std::string&)> own)
    : m_own(std::move(own)) {
    const ifreq request = requestFor(name);
    // No protocol: nothing is received before the socket is bound to the interface.
    m_socket = cDescriptor(socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!m_socket.open()) fail("cannot listen on interfaces");
    findHardwareAddress(request.ifr_name);
    setUp(request.ifr_name);
    bindTo(request.ifr_name);
}

void cEthernetInterface::findHardwareAddress(const std::string& name) {
    ifreq request = requestFor(name);
    if (ioctl(m_socket.get(), SIOCGIFHWADDR, &request) != 0) fail("no interface " + name);
    if (request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        throw std::runtime_error(name + " is no Ethernet interface; --data makes another kind");
    }
    std::memcpy(m_address.data(), request.ifr_hwaddr.sa_data, m_address.size());
}

void cEthernetInterface::setUp(const std::string& name) {
    ifreq request = requestFor(name);
    if (ioctl(m_socket.get(), SIOCGIFFLAGS, &request) != 0) fail("no flags of " + name);
    request.ifr_flags |= IFF_UP;
    if (ioctl(m_socket.get(), SIOCSIFFLAGS, &request) != 0) fail("cannot set up " + name);
}

void cEthernetInterface::bindTo(const std::string& name) {
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
    if (bind(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        fail("cannot listen on " + name);
    }
}

std::optional<std::vector<uint8_t>> cEthernetInterface::receiveFrame() {
    std::vector<uint8_t> frame(65536);
    sockaddr_ll from = {};
    socklen_t length = sizeof(from);
    const ssize_t count = recvfrom(m_socket.get(), frame.data(), frame.size(), 0,
                                   reinterpret_cast<sockaddr*>(&from), &length);
    if (count <= 0) return std::nullopt;
    // What this side's own kernel sends is nothing of the host's.
    frame.resize(from.sll_pkttype == PACKET_OUTGOING ? 0 : static_cast<size_t>(count));
    return frame;
}

std::optional<std::vector<uint8_t>> cEthernetInterface::receive() {
    while (const std::optional<std::vector<uint8_t>> frame = receiveFrame()) {
        if (const auto reply = neighbourReply(*frame, m_address, m_own)) {
            sendFrame(*reply);
            continue;
        }
        std::optional<std::vector<uint8_t>> packet = packetOf(*frame);
        if (!packet) continue;
        std::copy_n(frame->begin() + static_cast<std::ptrdiff_t>(m_hostAddress.size()),
                    m_hostAddress.size(), m_hostAddress.begin());
        return packet;
    }
    return std::nullopt;
}

void cEthernetInterface::send(const std::vector<uint8_t>& packet) {
    sendFrame(frameOf(packet, m_hostAddress, m_address));
}

void cEthernetInterface::sendFrame(const std::vector<uint8_t>& frame) {
    const ssize_t count = ::send(m_socket.get(), frame.data(), frame.size(), 0);
    static_cast<void>(count);
}

}  // namespace le910sim
