#include "tests/support/simulated_port.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "device/link_state.h"
#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "tests/support/pseudo_terminal.h"

namespace {

cSimulatedPort* g_port = nullptr;

void sleepOnPort(unsigned microseconds) {
    g_port->pass(microseconds);
}

uint64_t portClock() {
    return g_port->nowMs();
}

}  // namespace

cSimulatedPort::cSimulatedPort(const nlohmann::json& scenario, eKind kind)
    : m_modem(scenario), m_isTerminal(kind == TERMINAL) {
    if (m_isTerminal)
        openTerminal();
    else
        openSocket();
    g_port = this;
    resetLinkState();
    setSleepFunction(sleepOnPort);
    setTimerClock(portClock);
}

cSimulatedPort::~cSimulatedPort() {
    setSleepFunction(nullptr);
    setTimerClock(nullptr);
    g_port = nullptr;
    if (m_daemonEnd != -1) close(m_daemonEnd);
    unplug();
}

void cSimulatedPort::openSocket() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket pair");
    m_daemonEnd = ends[0];
    m_modemEnd = ends[1];
}

void cSimulatedPort::openTerminal() {
    const sPseudoTerminal terminal = openPseudoTerminal();
    m_modemEnd = terminal.modemEnd;
    m_path = terminal.path;
    m_daemonEnd = openRawTerminal(m_path);
}

void cSimulatedPort::pass(uint64_t microseconds) {
    m_nowUs += microseconds;
    turn();
    if (m_onTurn) m_onTurn();
}

void cSimulatedPort::unplug() {
    if (m_modemEnd != -1) close(m_modemEnd);
    m_modemEnd = -1;
}

void cSimulatedPort::plugIn() {
    close(m_daemonEnd);
    openTerminal();
}

void cSimulatedPort::turn() {
    if (m_modemEnd == -1) return;
    const std::string fromDaemon = readAll();
    if (!fromDaemon.empty()) m_modem.receiveAt(fromDaemon, nowMs());
    m_modem.advance(nowMs());
    writeAll(m_modem.takeAtOutput());
}

std::string cSimulatedPort::readAll() {
    std::string text;
    char piece[4096];
    ssize_t count;
    while ((count = read(m_modemEnd, piece, sizeof piece)) > 0)
        text.append(piece, static_cast<size_t>(count));
    return text;
}

void cSimulatedPort::writeAll(const std::string& text) {
    if (text.empty()) return;
    const int before = waitingBytes(m_daemonEnd);
    const ssize_t count = write(m_modemEnd, text.data(), text.size());
    ASSERT_EQ(count, static_cast<ssize_t>(text.size())) << "the port is full";
    if (m_isTerminal) waitForBytes(m_daemonEnd, before + static_cast<int>(count));
}

std::vector<std::string> cSimulatedPort::takeCommands() {
    const std::vector<std::string> all = m_modem.commands();
    const std::vector<std::string> fresh(all.begin() + static_cast<long>(m_commandsTaken),
                                         all.end());
    m_commandsTaken = all.size();
    return fresh;
}

void cSimulatedPort::order(const nlohmann::json& request) {
    const nlohmann::json answer = m_modem.control(request);
    EXPECT_TRUE(answer.value("ok", false)) << request.dump() << " -> " << answer.dump();
}
