#include "le910sim/serial_port.h"

#include <termios.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace le910sim {

namespace {

constexpr size_t UNSENT_MAX = 256 * 1024;

bool nothingYet(ssize_t count) {
    return count < 0 && (errno == EAGAIN || errno == EINTR);
}

}  // namespace

void cSerialPort::fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

void cSerialPort::makeRaw(int fd) {
    termios settings = {};
    if (tcgetattr(fd, &settings) != 0) fail("cannot read the settings of a port");
    cfmakeraw(&settings);
    if (tcsetattr(fd, TCSANOW, &settings) != 0) fail("cannot set up a port");
}

void cSerialPort::close() {
    m_port.reset();
    m_unsent.clear();
}

std::string cSerialPort::receive() {
    std::string bytes;
    std::array<char, 4096> buffer = {};
    while (present()) {
        const ssize_t count = read(m_port.get(), buffer.data(), buffer.size());
        if (count <= 0) {
            m_hungUp = !nothingYet(count);
            if (m_hungUp) close();
            break;
        }
        bytes.append(buffer.data(), static_cast<size_t>(count));
        if (bytes.size() >= UNSENT_MAX) break;
    }
    return bytes;
}

bool cSerialPort::takeHangUp() {
    return std::exchange(m_hungUp, false);
}

void cSerialPort::send(const std::string& bytes) {
    if (!present()) return;
    m_unsent += bytes;
    while (!m_unsent.empty()) {
        const ssize_t count = write(m_port.get(), m_unsent.data(), m_unsent.size());
        if (count <= 0) break;
        m_unsent.erase(0, static_cast<size_t>(count));
    }
    // Nobody reads: the oldest bytes are dropped.
    if (m_unsent.size() > UNSENT_MAX) m_unsent.erase(0, m_unsent.size() - UNSENT_MAX);
}

}  // namespace le910sim
