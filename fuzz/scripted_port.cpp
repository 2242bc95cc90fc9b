#include "fuzz/scripted_port.h"

#include <sys/socket.h>
#include <unistd.h>

#include "fuzz/check.h"
#include "include/sleep.h"
#include "tests/support/pseudo_terminal.h"

cScriptedPort* cScriptedPort::s_current = nullptr;

cScriptedPort::cScriptedPort(const std::vector<std::string>& pieces, eLink link)
    : m_pieces(pieces.begin(), pieces.end()) {
    if (link == eLink::SOCKET)
        openSocket();
    else
        openTerminal();
    s_current = this;
    setSleepFunction(onSleep);
}

cScriptedPort::~cScriptedPort() {
    setSleepFunction(nullptr);
    s_current = nullptr;
    if (m_descriptor != -1) close(m_descriptor);
    close(m_modem);
}

void cScriptedPort::openSocket() {
    int ends[2];
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0,
          "a socket pair can be made");
    m_descriptor = ends[0];
    m_modem = ends[1];
}

void cScriptedPort::openTerminal() {
    const sPseudoTerminal terminal = openPseudoTerminal();
    m_modem = terminal.modemEnd;
    m_path = terminal.path;
}

void cScriptedPort::onSleep(unsigned) {
    s_current->takeTurn();
}

void cScriptedPort::takeTurn() {
    written();
    if (m_pieces.empty()) return;
    // Pieces that are too long for the link are cut; the fuzzer also tries shorter ones.
    [[maybe_unused]] const ssize_t ignored =
        write(m_modem, m_pieces.front().data(), m_pieces.front().size());
    m_pieces.pop_front();
    ++m_said;
}

const std::string& cScriptedPort::written() {
    char buffer[4096];
    for (ssize_t count; (count = read(m_modem, buffer, sizeof buffer)) > 0;)
        m_written.append(buffer, static_cast<size_t>(count));
    return m_written;
}
