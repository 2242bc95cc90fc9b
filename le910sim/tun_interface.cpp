#include "le910sim/tun_interface.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace le910sim {

cTunInterface::cTunInterface(const std::string& name) {
    ifreq request = {};
    if (name.empty() || name.size() >= sizeof(request.ifr_name)) {
        throw std::runtime_error("'" + name + "' is no name of an interface");
    }
    m_device = cDescriptor(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC));
    if (!m_device.open()) {
        throw std::runtime_error(std::string("cannot open /dev/net/tun: ") + std::strerror(errno));
    }
    std::memcpy(request.ifr_name, name.c_str(), name.size() + 1);
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (ioctl(m_device.get(), TUNSETIFF, &request) != 0) {
        throw std::runtime_error("cannot make the interface " + name + ": " + std::strerror(errno));
    }
}

std::optional<std::vector<uint8_t>> cTunInterface::receive() {
    std::vector<uint8_t> packet(65536);
    const ssize_t count = read(m_device.get(), packet.data(), packet.size());
    if (count <= 0) return std::nullopt;
    packet.resize(static_cast<size_t>(count));
    return packet;
}

void cTunInterface::send(const std::vector<uint8_t>& packet) {
    const ssize_t count = write(m_device.get(), packet.data(), packet.size());
    static_cast<void>(count);
}

}  // namespace le910sim
