#include "tests/support/modem_terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "tests/support/pseudo_terminal.h"

namespace {

constexpr size_t TERMINAL_BYTES = 4000;  // a terminal buffers 4095 for its reader

}  // namespace

bool cModemTerminal::setPresent(bool present) {
    if (m_pty.present() == present) return false;
    m_output.clear();
    m_otherSide.reset();
    m_emitted = m_delivered = 0;
    if (!present) {
        m_pty.disappear();
        return true;
    }
    m_pty.appear();
    m_otherSide =
        le910sim::cDescriptor(open(m_path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    return true;
}

void cModemTerminal::emit(const std::string& bytes, uint64_t dueMs) {
    if (bytes.empty()) return;
    if (!m_output.empty()) dueMs = std::max(dueMs, m_output.back().dueMs);
    m_output.push_back({dueMs, bytes});
    m_emitted += bytes.size();
}

uint64_t cModemTerminal::read() const {
    return m_delivered - static_cast<uint64_t>(waitingBytes(m_otherSide.get()));
}

void cModemTerminal::deliver(uint64_t nowMs) {
    if (!present()) return;
    const int before = waitingBytes(m_otherSide.get());
    size_t room = TERMINAL_BYTES - static_cast<size_t>(before);
    std::string bytes;
    while (room > 0 && !m_output.empty() && m_output.front().dueMs <= nowMs) {
        std::string& front = m_output.front().bytes;
        const size_t count = std::min(room, front.size());
        bytes += front.substr(0, count);
        front.erase(0, count);
        room -= count;
        if (front.empty()) m_output.pop_front();
    }
    if (bytes.empty()) return;
    if (write(m_pty.descriptor(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        throw std::runtime_error("the terminal takes no more");
    m_delivered += bytes.size();
    const int expected = before + static_cast<int>(bytes.size());
    if (!waitForBytes(m_otherSide.get(), expected))
        throw std::runtime_error("bytes are lost in the terminal");
}
