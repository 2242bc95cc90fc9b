#ifndef LE910SIM_DEVICE_PORT_H
#define LE910SIM_DEVICE_PORT_H

#include <string>

#include "le910sim/serial_port.h"

namespace le910sim {

// A serial device that leads to the host: the modem's side of a USB gadget's port. The device shows
// a hang-up when the cable is unplugged, and can be opened again at once; it does not show whether
// a program of the host has the port open.
class cDevicePort : public cSerialPort {
  public:
    explicit cDevicePort(std::string path) : m_path(std::move(path)) {}

    // Fails when the device cannot be opened for the first time. Later it may be away for a while:
    // then the port is not present, and the next call tries again.
    void appear() override;
    void disappear() override { close(); }

  private:
    std::string m_path;
    bool m_known = false;
};

}  // namespace le910sim

#endif
