#include "tests/support/gps_terminal.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <utility>

#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "tests/support/pseudo_terminal.h"

namespace {

constexpr unsigned ANSWER_POLL_US = 10000;

std::string readAll(int fd) {
    std::string text;
    char piece[4096];
    ssize_t count;
    while ((count = read(fd, piece, sizeof piece)) > 0)
        text.append(piece, static_cast<size_t>(count));
    return text;
}

}  // namespace

cGpsTerminal* cGpsTerminal::s_current = nullptr;

cGpsTerminal::cGpsTerminal(const nlohmann::json& scenario) : m_modem(scenario) {
    const sPseudoTerminal terminal = openPseudoTerminal();
    m_modemEnd = terminal.modemEnd;
    m_path = terminal.path;
    m_daemonEnd = openRawTerminal(m_path);
    s_current = this;
    setSleepFunction(onSleep);
    setTimerClock(clockMs);
}

cGpsTerminal::~cGpsTerminal() {
    setSleepFunction(nullptr);
    setTimerClock(nullptr);
    s_current = nullptr;
    close(m_daemonEnd);
    close(m_modemEnd);
}

std::vector<std::string> cGpsTerminal::takeSent() {
    takeTurn();
    return std::exchange(m_sent, {});
}

std::vector<unsigned> cGpsTerminal::takePausesUs() {
    return std::exchange(m_pausesUs, {});
}

std::string cGpsTerminal::takeUnread() {
    return readAll(m_daemonEnd);
}

void cGpsTerminal::onSleep(unsigned microseconds) {
    if (microseconds != ANSWER_POLL_US) s_current->m_pausesUs.push_back(microseconds);
    s_current->pass(microseconds);
}

uint64_t cGpsTerminal::clockMs() {
    return s_current->nowMs();
}

void cGpsTerminal::pass(uint64_t microseconds) {
    takeTurn();
    m_nowUs += microseconds;
    takeTurn();
}

void cGpsTerminal::takeTurn() {
    // Reading also fetches what is still under way inside the terminal.
    const std::string bytes = readAll(m_modemEnd);
    note(bytes);
    if (!bytes.empty()) m_modem.receiveGps(bytes, nowMs());
    m_modem.advance(nowMs());
    deliver(m_modem.takeGpsOutput());
}

void cGpsTerminal::note(const std::string& bytes) {
    for (const char byte : bytes) {
        if (byte != '\r') m_line += byte;
        if (byte == '\r' || m_line == "+++") m_sent.push_back(std::exchange(m_line, ""));
    }
}

void cGpsTerminal::deliver(const std::string& text) {
    if (text.empty()) return;
    const int before = waitingBytes(m_daemonEnd);
    ASSERT_EQ(write(m_modemEnd, text.data(), text.size()), static_cast<ssize_t>(text.size()))
        << "the port is full";
    waitForBytes(m_daemonEnd, before + static_cast<int>(text.size()));
}

void cGpsTerminal::order(const nlohmann::json& request) {
    const nlohmann::json answer = m_modem.control(request);
    EXPECT_TRUE(answer.value("ok", false)) << request.dump() << " -> " << answer.dump();
}

void cGpsTerminal::fault(const std::string& line, nlohmann::json what, int count) {
    what.update({{"op", "fault"}, {"port", "gps"}, {"match", line}, {"count", count}});
    order(what);
}
