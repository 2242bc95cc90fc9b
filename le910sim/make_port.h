#ifndef LE910SIM_MAKE_PORT_H
#define LE910SIM_MAKE_PORT_H

#include <memory>
#include <string>

#include "le910sim/serial_port.h"

namespace le910sim {

// A port of the modem: the device if one is given, otherwise a pseudo-terminal with that link.
std::unique_ptr<cSerialPort> makeSerialPort(const std::string& link, const std::string& device);

}  // namespace le910sim

#endif
