#ifndef LE910SIM_PTY_H
#define LE910SIM_PTY_H

#include <string>

#include "le910sim/serial_port.h"

namespace le910sim {

// A pseudo-terminal that replaces a serial port of the modem, reached through a link with a fixed
// name. It keeps running while no program has it open.
class cPty : public cSerialPort {
  public:
    explicit cPty(std::string link) : m_link(std::move(link)) {}
    ~cPty() override { remove(); }

    // An existing link is replaced, a file is not.
    void appear() override;
    // As at a restart of a modem: the link is removed, and programs that have the port open get a
    // hang-up.
    void disappear() override { remove(); }

  private:
    void makeLink(const std::string& target);
    void remove();

    std::string m_link;
    std::string m_target;
    // Kept open so that the modem sees no hang-up between two users.
    cDescriptor m_slave;
};

}  // namespace le910sim

#endif
