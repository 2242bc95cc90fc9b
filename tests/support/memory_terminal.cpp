#include "tests/support/memory_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

constexpr size_t TERMINAL_BYTES = 4000;  // a terminal buffers 4095 for its reader
constexpr size_t DESCRIPTORS = 1024;
// Something that can be opened, so that a descriptor of the daemon is one.
constexpr const char* ANY_DEVICE = "/dev/null";

struct sOpened {
    cMemoryTerminal* terminal = nullptr;
    unsigned generation = 0;

    bool isHungUp() const { return terminal->generation() != generation; }
};

struct sTerminals {
    std::vector<cMemoryTerminal*> all;
    std::array<sOpened, DESCRIPTORS> opened;
} g_terminals;

// Null for any other descriptor.
sOpened* openedAs(int fd) {
    if (fd < 0 || static_cast<size_t>(fd) >= DESCRIPTORS) return nullptr;
    sOpened& opened = g_terminals.opened[static_cast<size_t>(fd)];
    return opened.terminal != nullptr ? &opened : nullptr;
}

int failed(int error) {
    errno = error;
    return -1;
}

int control(const sOpened& opened, unsigned long request, void* argument) {
    if (opened.isHungUp()) return failed(EIO);
    switch (request) {
        case TCGETA:
            *static_cast<termio*>(argument) = {};
            return 0;
        case TCSETA:
            return 0;
        case FIONREAD:
            *static_cast<int*>(argument) = static_cast<int>(opened.terminal->waiting());
            return 0;
        default:
            return failed(EINVAL);
    }
}

}  // namespace

cMemoryTerminal::cMemoryTerminal(std::string path) : m_path(std::move(path)) {
    g_terminals.all.push_back(this);
}

cMemoryTerminal::~cMemoryTerminal() {
    setPresent(false);
    std::vector<cMemoryTerminal*>& all = g_terminals.all;
    all.erase(std::remove(all.begin(), all.end(), this), all.end());
    for (sOpened& opened : g_terminals.opened)
        if (opened.terminal == this) opened = {};
}

void cMemoryTerminal::setPresent(bool present) {
    if (m_isPresent == present) return;
    m_isPresent = present;
    ++m_generation;
    m_unsent.clear();
    m_toDaemon.clear();
    m_fromDaemon.clear();
    unlink(m_path.c_str());
    if (present && symlink(ANY_DEVICE, m_path.c_str()) != 0)
        throw std::runtime_error("cannot make the link " + m_path);
}

std::string cMemoryTerminal::receive() {
    return std::exchange(m_fromDaemon, "");
}

void cMemoryTerminal::deliver() {
    if (m_unsent.empty() || m_toDaemon.size() >= TERMINAL_BYTES) return;
    const size_t count = std::min(TERMINAL_BYTES - m_toDaemon.size(), m_unsent.size());
    m_toDaemon.append(m_unsent, 0, count);
    m_unsent.erase(0, count);
}

size_t cMemoryTerminal::take(char* buffer, size_t size) {
    const size_t count = m_toDaemon.copy(buffer, size);
    m_toDaemon.erase(0, count);
    return count;
}

// The linker gives every call of these functions in the program to the function of the same name
// with __wrap_, and calls the C library's with __real_.
extern "C" {

int __real_open(const char* path, int flags, ...);
int __real_close(int fd);
int __real_ioctl(int fd, unsigned long request, ...);
int __real_poll(pollfd* watched, nfds_t count, int timeoutMs);
ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __real_write(int fd, const void* buffer, size_t size);

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    const int fd = __real_open(path, flags, mode);
    if (fd < 0 || static_cast<size_t>(fd) >= DESCRIPTORS) return fd;
    for (cMemoryTerminal* terminal : g_terminals.all)
        if (terminal->present() && terminal->path() == path)
            g_terminals.opened[static_cast<size_t>(fd)] = {terminal, terminal->generation()};
    return fd;
}

int __wrap_close(int fd) {
    if (sOpened* opened = openedAs(fd)) *opened = {};
    return __real_close(fd);
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    const sOpened* opened = openedAs(fd);
    return opened != nullptr ? control(*opened, request, argument)
                             : __real_ioctl(fd, request, argument);
}

int __wrap_poll(pollfd* watched, nfds_t count, int timeoutMs) {
    const sOpened* opened = count == 1 ? openedAs(watched->fd) : nullptr;
    if (opened == nullptr) return __real_poll(watched, count, timeoutMs);
    watched->revents = opened->isHungUp() ? POLLHUP : 0;
    return watched->revents != 0 ? 1 : 0;
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    const sOpened* opened = openedAs(fd);
    if (opened == nullptr) return __real_read(fd, buffer, size);
    if (opened->isHungUp()) return 0;
    const size_t count = opened->terminal->take(static_cast<char*>(buffer), size);
    return count > 0 ? static_cast<ssize_t>(count) : failed(EAGAIN);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    const sOpened* opened = openedAs(fd);
    if (opened == nullptr) return __real_write(fd, buffer, size);
    if (opened->isHungUp()) return failed(EIO);
    opened->terminal->put(static_cast<const char*>(buffer), size);
    return static_cast<ssize_t>(size);
}

}  // extern "C"
