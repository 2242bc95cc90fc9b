#include "tests/support/fake_port.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "device/link_state.h"
#include "include/sleep.h"
#include "platform/include/timer_clock.h"
#include "tests/support/pseudo_terminal.h"

const char* const OK_REPLY = "\r\nOK\r\n";
const char* const ERROR_REPLY = "\r\nERROR\r\n";

namespace {

// The clock does not begin at 0, so that a time that was never set is noticed.
constexpr uint64_t CLOCK_START_MS = 1000000;

// The kernel passes on bytes of a terminal with a delay, and the fake clock does not wait for that.
// So a few turns after a transfer get some real time.
constexpr int TERMINAL_TURNS = 3;
constexpr int TERMINAL_WAIT_MS = 50;

void makeNonBlocking(int fd) {
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
}

}  // namespace

std::string modemReply(std::initializer_list<std::string> lines) {
    return modemReply(lines, "OK");
}

std::string modemReply(std::initializer_list<std::string> lines, const std::string& finalLine) {
    std::string text;
    if (lines.size() != 0) text += "\r\n";
    for (const std::string& line : lines)
        text += line + "\r\n";
    return text + "\r\n" + finalLine + "\r\n";
}

cFakePort* cFakePort::s_current = nullptr;

cFakePort::cFakePort(eLink link) : m_terminalTurns(TERMINAL_TURNS) {
    if (s_current != nullptr) throw std::logic_error("there is a fake port already");
    if (link == eLink::SOCKET)
        openSocket();
    else
        openTerminal();
    s_current = this;
    resetLinkState();
    setSleepFunction(onSleep);
    setTimerClock(clockMs);
}

cFakePort::~cFakePort() {
    setSleepFunction(nullptr);
    setTimerClock(nullptr);
    s_current = nullptr;
    if (m_descriptor != -1) close(m_descriptor);
    hangUp();
    EXPECT_TRUE(m_script.empty()) << m_script.size() << " answers that no command asked for";
}

void cFakePort::openSocket() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::runtime_error("no socket pair");
    m_descriptor = ends[0];
    m_modem = ends[1];
    makeNonBlocking(m_descriptor);
    makeNonBlocking(m_modem);
}

void cFakePort::openTerminal() {
    const sPseudoTerminal terminal = openPseudoTerminal();
    m_modem = terminal.modemEnd;
    m_path = terminal.path;
}

cFakePort& cFakePort::answerInPieces(std::vector<std::string> pieces) {
    m_script.push_back({0, std::move(pieces)});
    return *this;
}

cFakePort& cFakePort::answerLate(unsigned delayMs, const std::string& text) {
    m_script.push_back({delayMs, {text}});
    return *this;
}

void cFakePort::say(const std::string& text) {
    m_out += text;
    flush();
}

void cFakePort::sayIn(unsigned delayMs, const std::string& text) {
    m_pieces.push_back({m_elapsedUs + delayMs * 1000ULL, text});
}

void cFakePort::hangUp() {
    if (m_modem != -1) close(m_modem);
    m_modem = -1;
}

void cFakePort::onSleep(unsigned microseconds) {
    s_current->m_sleepsUs.push_back(microseconds);
    s_current->m_elapsedUs += microseconds;
    s_current->takeTurn();
}

uint64_t cFakePort::clockMs() {
    return CLOCK_START_MS + s_current->elapsedMs();
}

void cFakePort::takeTurn() {
    if (m_modem == -1) return;
    readCommands();
    deliver();
    flush();
}

void cFakePort::readCommands() {
    waitForTerminal(m_modem);
    char buffer[4096];
    ssize_t count;
    while ((count = read(m_modem, buffer, sizeof buffer)) > 0) {
        m_terminalTurns = TERMINAL_TURNS;
        m_written.append(buffer, static_cast<size_t>(count));
        m_pending.append(buffer, static_cast<size_t>(count));
    }
    for (size_t end; (end = m_pending.find('\r')) != std::string::npos;) {
        m_commands.push_back(m_pending.substr(0, end));
        m_pending.erase(0, end + 1);
        startAnswer();
    }
}

// Until something can be read there.
void cFakePort::waitForTerminal(int end) {
    if (m_path.empty() || end == -1 || m_terminalTurns == 0) return;
    --m_terminalTurns;
    pollfd waiting = {end, POLLIN, 0};
    poll(&waiting, 1, TERMINAL_WAIT_MS);
}

void cFakePort::startAnswer() {
    if (m_echo) m_out += m_commands.back() + "\r";
    if (m_script.empty()) {
        ADD_FAILURE() << "unexpected command '" << m_commands.back() << "'";
        m_out += ERROR_REPLY;
        return;
    }
    for (const std::string& piece : m_script.front().pieces)
        m_pieces.push_back({m_elapsedUs + m_script.front().delayMs * 1000ULL, piece});
    m_script.pop_front();
}

void cFakePort::deliver() {
    if (m_pieces.empty() || m_pieces.front().dueUs > m_elapsedUs) return;
    m_out += m_pieces.front().text;
    m_pieces.pop_front();
}

// The link accepts a limited amount at once; the rest waits until the daemon reads.
void cFakePort::flush() {
    while (!m_out.empty() && m_modem != -1) {
        const ssize_t count = write(m_modem, m_out.data(), m_out.size());
        if (count <= 0) return;
        m_out.erase(0, static_cast<size_t>(count));
        m_terminalTurns = TERMINAL_TURNS;
        waitForTerminal(m_descriptor);
    }
}
