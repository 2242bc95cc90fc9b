#include "le910sim/device_port.h"

#include <fcntl.h>

#include <stdexcept>

namespace le910sim {

void cDevicePort::appear() {
    if (present()) return;
    cDescriptor device(::open(m_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!device.open() && m_known) return;
    if (!device.open()) fail("cannot open " + m_path);
    try {
        makeRaw(device.get());
    } catch (const std::runtime_error&) {
        // Unplugged a moment ago.
        if (m_known) return;
        throw;
    }
    m_known = true;
    m_port = std::move(device);
}

}  // namespace le910sim
