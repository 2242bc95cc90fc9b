#ifndef LE910SIM_PTY_H
#define LE910SIM_PTY_H

#include <string>

#include "le910sim/descriptor.h"

namespace le910sim {

// A pseudo-terminal that replaces a serial port of the modem, reached through a link with a fixed
// name. Nothing is echoed or translated. It keeps running while no program has it open.
class cPty {
  public:
    explicit cPty(std::string link) : m_link(std::move(link)) {}
    ~cPty() { disappear(); }
    cPty(const cPty&) = delete;
    cPty& operator=(const cPty&) = delete;

    // Throws std::runtime_error. An existing link is replaced, a file is not.
    void appear();
    // As at a restart of a modem: the link is removed, and programs that have the port open get a
    // hang-up.
    void disappear();
    bool present() const { return m_master.open(); }
    int descriptor() const { return m_master.get(); }

    std::string receive();
    // What the terminal cannot accept now is kept for the next call.
    void send(const std::string& bytes);

  private:
    void makeLink(const std::string& target);

    std::string m_link;
    std::string m_target;
    cDescriptor m_master;
    // Kept open so that the master sees no hang-up between two users.
    cDescriptor m_slave;
    std::string m_unsent;
};

}  // namespace le910sim

#endif
