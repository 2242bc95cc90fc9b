#ifndef LE910SIM_SERIAL_PORT_H
#define LE910SIM_SERIAL_PORT_H

#include <string>

#include "le910sim/descriptor.h"

namespace le910sim {

// One of the modem's serial ports. Nothing is echoed or translated.
class cSerialPort {
  public:
    cSerialPort() = default;
    virtual ~cSerialPort() = default;
    cSerialPort(const cSerialPort&) = delete;
    cSerialPort& operator=(const cSerialPort&) = delete;

    // Throws std::runtime_error.
    virtual void appear() = 0;
    virtual void disappear() = 0;
    bool present() const { return m_port.open(); }
    int descriptor() const { return m_port.get(); }

    std::string receive();
    // What the terminal cannot accept now is kept for the next call.
    void send(const std::string& bytes);
    // True once after the other side has hung up. The port is not present then, and what was on its
    // way is lost.
    bool takeHangUp();

  protected:
    // Throws std::runtime_error.
    static void makeRaw(int fd);
    [[noreturn]] static void fail(const std::string& what);
    // Closes the port and drops what was to be sent.
    void close();

    cDescriptor m_port;

  private:
    std::string m_unsent;
    bool m_hungUp = false;
};

}  // namespace le910sim

#endif
