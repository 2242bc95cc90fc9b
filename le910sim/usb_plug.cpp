#include "le910sim/usb_plug.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "le910sim/descriptor.h"

namespace le910sim {

void cUsbPlug::plugIn() {
    if (m_pluggedIn) return;
    // EBUSY: it is plugged in.
    if (!store(m_controller) && errno != EBUSY) {
        throw std::runtime_error("cannot write " + m_controller + " to " + m_file + ": " +
                                 std::strerror(errno));
    }
    m_pluggedIn = true;
}

void cUsbPlug::unplug() {
    if (!m_pluggedIn) return;
    m_pluggedIn = false;
    // Somebody else may have unplugged it.
    store("");
}

bool cUsbPlug::store(const std::string& text) const {
    const std::string line = text + "\n";
    const cDescriptor file(::open(m_file.c_str(), O_WRONLY | O_TRUNC | O_CLOEXEC));
    return file.open() &&
           write(file.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

}  // namespace le910sim
