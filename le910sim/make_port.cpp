#include "le910sim/make_port.h"

#include "le910sim/device_port.h"
#include "le910sim/pty.h"

namespace le910sim {

std::unique_ptr<cSerialPort> makeSerialPort(const std::string& link, const std::string& device) {
    if (device.empty()) return std::make_unique<cPty>(link);
    return std::make_unique<cDevicePort>(device);
}

}  // namespace le910sim
