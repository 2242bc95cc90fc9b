#include "cli/pin/secret.h"

#include <poll.h>
#include <string.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iterator>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"

namespace {

constexpr int ENDING_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t s_endingSignal = 0;

void noteEndingSignal(int number) {
    s_endingSignal = number;
}

// Switches the terminal's echo off for its lifetime. A signal that would end the program first ends
// the wait for input, so that the terminal is restored; then it ends the program. These signals are
// unblocked only during the wait: a signal just before a read would otherwise be noted while the
// read goes on waiting.
class cSilentTerminal {
  public:
    explicit cSilentTerminal(int terminal) : m_terminal(terminal) {
        s_endingSignal = 0;
        blockEndingSignals();
        struct sigaction action {};
        action.sa_handler = noteEndingSignal;
        for (size_t i = 0; i < std::size(ENDING_SIGNALS); ++i)
            sigaction(ENDING_SIGNALS[i], &action, &m_signals[i]);
        // Stopped here, the program would leave the terminal without echo.
        m_stop = signal(SIGTSTP, SIG_IGN);
        tcgetattr(m_terminal, &m_before);
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        tcsetattr(m_terminal, TCSAFLUSH, &silent);
    }

    ~cSilentTerminal() {
        tcsetattr(m_terminal, TCSAFLUSH, &m_before);
        for (size_t i = 0; i < std::size(ENDING_SIGNALS); ++i)
            sigaction(ENDING_SIGNALS[i], &m_signals[i], nullptr);
        signal(SIGTSTP, m_stop);
        sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
        if (s_endingSignal != 0) raise(s_endingSignal);
    }

    cSilentTerminal(const cSilentTerminal&) = delete;
    cSilentTerminal& operator=(const cSilentTerminal&) = delete;

    // False if a signal came that ends the program.
    bool waitForInput() const {
        pollfd input = {m_terminal, POLLIN, 0};
        while (ppoll(&input, 1, nullptr, &m_maskBefore) < 0 && errno == EINTR)
            if (s_endingSignal != 0) return false;
        return true;
    }

  private:
    void blockEndingSignals() {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int number : ENDING_SIGNALS)
            sigaddset(&ending, number);
        sigprocmask(SIG_BLOCK, &ending, &m_maskBefore);
    }

    int m_terminal;
    sigset_t m_maskBefore{};
    termios m_before{};
    struct sigaction m_signals[std::size(ENDING_SIGNALS)]{};
    void (*m_stop)(int) = SIG_DFL;
};

// terminal: nullptr if the input is not a terminal.
bool readLine(int input, cSecret& secret, const cSilentTerminal* terminal) {
    secret.clear();
    char c = 0;
    bool any = false;
    while (terminal == nullptr || terminal->waitForInput()) {
        const ssize_t count = read(input, &c, 1);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw systemFailure("read the secret", errno);
        if (count == 0) break;
        any = true;
        if (c == '\n') break;
        if (c != '\r') secret.add(c);
    }
    explicit_bzero(&c, sizeof c);
    return any;
}

}  // namespace

cSecret::~cSecret() {
    clear();
}

void cSecret::add(char c) {
    if (m_size == m_text.size())
        m_overlong = true;
    else
        m_text[m_size++] = c;
}

void cSecret::clear() {
    explicit_bzero(m_text.data(), m_text.size());
    m_size = 0;
    m_overlong = false;
}

bool cSecret::hasDigits(size_t least, size_t most) const {
    return !m_overlong && m_size >= least && m_size <= most &&
           std::all_of(m_text.begin(), m_text.begin() + static_cast<ptrdiff_t>(m_size),
                       [](char c) { return c >= '0' && c <= '9'; });
}

bool cSecret::operator==(const cSecret& other) const {
    return m_overlong == other.m_overlong && m_size == other.m_size && m_text == other.m_text;
}

bool readSecret(int input, const std::string& prompt, cSecret& secret) {
    if (isatty(input) == 0) return readLine(input, secret, nullptr);
    const cSilentTerminal silence(input);
    if (write(STDERR_FILENO, prompt.data(), prompt.size()) < 0)
        throw systemFailure("write to the terminal", errno);
    return readLine(input, secret, &silence) && s_endingSignal == 0;
}
