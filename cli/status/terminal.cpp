#include "cli/status/terminal.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ostream>

#include "cli/base/failure.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr const char* HOME = "\x1b[H";
constexpr const char* CLEAR_SCREEN = "\x1b[2J";
constexpr const char* CLEAR_TO_LINE_END = "\x1b[K";
constexpr const char* OWN_SCREEN = "\x1b[?1049h\x1b[?25l";
constexpr const char* FORMER_SCREEN = "\x1b[?25h\x1b[?1049l";
constexpr const char* PLAIN_COLOUR = "\x1b[m";

constexpr size_t ROWS_MIN = 2;
constexpr size_t COLUMNS_MIN = 20;

constexpr int QUIT_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

volatile sig_atomic_t g_quit = 0;
volatile sig_atomic_t g_resized = 0;

termios g_before{};  // the caller's settings

// The first signal is noted. A second one means that the terminal accepts no more output: all that
// remains is to restore it.
void onQuit(int number) {
    if (g_quit == 0) {
        g_quit = 1;
        return;
    }
    tcsetattr(STDIN_FILENO, TCSANOW, &g_before);
    signal(number, SIG_DFL);
    raise(number);
}

void onResize(int) {
    g_resized = 1;
}

// A signal must not interrupt a write, because the stream would fail from then on. Every signal
// ends a wait for input.
void installHandler(int number, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

// For its lifetime, signals are delivered only during a wait for input, so that none comes between
// the check of what they noted and the wait.
class cHeldSignals {
  public:
    cHeldSignals() {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, SIGWINCH);
        for (const int number : QUIT_SIGNALS)
            sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, &m_before);
    }
    ~cHeldSignals() { sigprocmask(SIG_SETMASK, &m_before, nullptr); }
    cHeldSignals(const cHeldSignals&) = delete;
    cHeldSignals& operator=(const cHeldSignals&) = delete;

    int waitForInput(int milliseconds) const {
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        const timespec limit = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
        return ppoll(&input, 1, &limit, &m_before);
    }

  private:
    sigset_t m_before{};
};

std::string environment(const char* name) {
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

// Terminals with only basic ANSI functions, and unknown ones.
bool isPlainTerminal(const std::string& type) {
    return type.empty() || type == "dumb" || type == "unknown" || startsWith(type, "vt1") ||
           startsWith(type, "vt2") || type == "ansi";
}

struct sColourRow {
    const char* part;
    const char* colour;
};

// The first part that the line contains counts.
constexpr sColourRow COLOURS[] = {
    {"  ! ", "\x1b[31m"},       {"NOT CONNECTED", "\x1b[1;31m"}, {"NO DAEMON", "\x1b[1;31m"},
    {"STALE", "\x1b[1;31m"},    {"NO STATUS", "\x1b[1;31m"},     {"CONNECTED", "\x1b[1;32m"},
    {"DATA OFF", "\x1b[1;33m"}, {"STARTING", "\x1b[1;33m"},
};

const char* colourOf(const std::string& line) {
    const bool isHeadline = startsWith(line, "Slot ");
    for (const sColourRow& row : COLOURS)
        if (line.find(row.part) != std::string::npos && (isHeadline || startsWith(line, row.part)))
            return row.colour;
    return nullptr;
}

size_t numberOr(size_t reported, const char* variable, size_t otherwise) {
    if (reported > 0) return reported;
    const int set = textToInt(environment(variable));
    return set > 0 ? static_cast<size_t>(set) : otherwise;
}

}  // namespace

cTerminal::cTerminal(std::ostream& out, const std::string& instead) : m_out(out) {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 ||
        tcgetattr(STDIN_FILENO, &g_before) != 0)
        throw cFailure(eExitStatus::FAILED,
                       "watch needs a terminal; use " + instead + " in scripts");
    const std::string type = environment("TERM");
    m_isPlain = isPlainTerminal(type);
    m_isColour = !m_isPlain && environment("NO_COLOR").empty();
    g_quit = 0;
    for (const int number : QUIT_SIGNALS)
        installHandler(number, onQuit);
    installHandler(SIGWINCH, onResize);
    termios live = g_before;
    live.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    live.c_cc[VMIN] = 0;
    live.c_cc[VTIME] = 0;
    live.c_cc[VSUSP] = _POSIX_VDISABLE;  // a stopped program would leave the terminal without echo
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &live);
    if (!m_isPlain) m_out << OWN_SCREEN;
}

cTerminal::~cTerminal() {
    m_out << (m_isPlain ? "\n" : FORMER_SCREEN) << std::flush;
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &g_before);
}

cTerminal::eEvent cTerminal::wait(int milliseconds) {
    const cHeldSignals signals;
    const bool isNoted = g_quit != 0 || g_resized != 0;
    const int ready = isNoted ? 0 : signals.waitForInput(milliseconds);
    if (g_quit != 0) return eEvent::QUIT;
    if (g_resized != 0) {
        g_resized = 0;
        forget();
        return eEvent::REDRAW;
    }
    if (ready <= 0) return eEvent::TIME_OUT;
    char key = 0;
    // Readable, but no data: the terminal is gone.
    if (read(STDIN_FILENO, &key, 1) != 1 || key == 'q' || key == 'Q') return eEvent::QUIT;
    forget();
    return eEvent::REDRAW;
}

sTerminalSize cTerminal::size() const {
    winsize reported{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &reported);
    const sTerminalSize usual;
    return {std::max(ROWS_MIN, numberOr(reported.ws_row, "LINES", usual.rows)),
            std::max(COLUMNS_MIN, numberOr(reported.ws_col, "COLUMNS", usual.columns))};
}

void cTerminal::writeLine(const std::string& line) {
    const char* colour = m_isColour ? colourOf(line) : nullptr;
    if (colour != nullptr)
        m_out << colour << line << PLAIN_COLOUR;
    else
        m_out << line;
    m_out << CLEAR_TO_LINE_END;
}

bool cTerminal::show(const tLines& lines) {
    if (m_shown.size() != lines.size()) {
        m_shown.clear();
        m_out << CLEAR_SCREEN;
    }
    m_out << HOME;
    for (size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) m_out << "\n";
        if (m_shown.empty() || lines[i] != m_shown[i]) writeLine(lines[i]);
    }
    m_shown = lines;
    return static_cast<bool>(m_out.flush());
}

void cTerminal::forget() {
    m_shown.clear();
}
