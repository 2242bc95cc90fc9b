#include "le910sim/pty.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <termios.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace le910sim {

namespace {

constexpr size_t UNSENT_MAX = 256 * 1024;

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

void makeRaw(int fd) {
    termios settings = {};
    if (tcgetattr(fd, &settings) != 0) fail("cannot read the settings of a pseudo-terminal");
    cfmakeraw(&settings);
    if (tcsetattr(fd, TCSANOW, &settings) != 0) fail("cannot set up a pseudo-terminal");
}

}  // namespace

void cPty::appear() {
    if (present()) return;
    cDescriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!master.open() || grantpt(master.get()) != 0 || unlockpt(master.get()) != 0) {
        fail("cannot make a pseudo-terminal");
    }
    std::array<char, 128> name = {};
    if (ptsname_r(master.get(), name.data(), name.size()) != 0) fail("no name of the terminal");
    cDescriptor slave(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!slave.open()) fail(std::string("cannot open ") + name.data());
    makeRaw(slave.get());
    makeLink(name.data());
    m_target = name.data();
    m_master = std::move(master);
    m_slave = std::move(slave);
}

void cPty::makeLink(const std::string& target) {
    struct stat info = {};
    if (lstat(m_link.c_str(), &info) == 0) {
        if (!S_ISLNK(info.st_mode)) throw std::runtime_error(m_link + " exists and is no link");
        unlink(m_link.c_str());
    }
    if (symlink(target.c_str(), m_link.c_str()) != 0) fail("cannot make the link " + m_link);
}

void cPty::disappear() {
    if (!present()) return;
    std::array<char, 256> target = {};
    const ssize_t length = readlink(m_link.c_str(), target.data(), target.size());
    // A foreign link of the same name stays.
    if (length > 0 && m_target == std::string(target.data(), static_cast<size_t>(length))) {
        unlink(m_link.c_str());
    }
    m_slave.reset();
    m_master.reset();
    m_unsent.clear();
}

std::string cPty::receive() {
    std::string bytes;
    std::array<char, 4096> buffer = {};
    while (present()) {
        const ssize_t count = read(m_master.get(), buffer.data(), buffer.size());
        if (count <= 0) break;
        bytes.append(buffer.data(), static_cast<size_t>(count));
        if (bytes.size() >= UNSENT_MAX) break;
    }
    return bytes;
}

void cPty::send(const std::string& bytes) {
    if (!present()) return;
    m_unsent += bytes;
    while (!m_unsent.empty()) {
        const ssize_t count = write(m_master.get(), m_unsent.data(), m_unsent.size());
        if (count <= 0) break;
        m_unsent.erase(0, static_cast<size_t>(count));
    }
    // Nobody reads: the oldest bytes are dropped.
    if (m_unsent.size() > UNSENT_MAX) m_unsent.erase(0, m_unsent.size() - UNSENT_MAX);
}

}  // namespace le910sim
