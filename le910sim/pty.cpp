#include "le910sim/pty.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>
#include <stdexcept>

namespace le910sim {

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
    m_port = std::move(master);
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

void cPty::remove() {
    if (!present()) return;
    std::array<char, 256> target = {};
    const ssize_t length = readlink(m_link.c_str(), target.data(), target.size());
    // A foreign link of the same name stays.
    if (length > 0 && m_target == std::string(target.data(), static_cast<size_t>(length))) {
        unlink(m_link.c_str());
    }
    m_slave.reset();
    close();
}

}  // namespace le910sim
