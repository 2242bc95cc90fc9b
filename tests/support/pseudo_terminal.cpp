#include "tests/support/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int TERMINAL_HOLDS = 4095;  // bytes for its reader; the rest waits at the writer's side
constexpr int TRIES = 100000;
constexpr useconds_t TRY_US = 50;

}  // namespace

sPseudoTerminal openPseudoTerminal() {
    const int end = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    char name[64];
    if (end == -1 || grantpt(end) != 0 || unlockpt(end) != 0 ||
        ptsname_r(end, name, sizeof name) != 0)
        throw std::runtime_error("no pseudo-terminal");
    return {end, name};
}

int openRawTerminal(const std::string& path) {
    const int end = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    termios settings;
    if (end == -1 || tcgetattr(end, &settings) != 0)
        throw std::runtime_error("cannot open " + path);
    cfmakeraw(&settings);
    if (tcsetattr(end, TCSANOW, &settings) != 0) throw std::runtime_error("cannot set up " + path);
    return end;
}

int waitingBytes(int end) {
    int count = 0;
    ioctl(end, FIONREAD, &count);
    return count;
}

bool waitForBytes(int end, int expected) {
    expected = std::min(expected, TERMINAL_HOLDS);
    // If nothing waits yet, poll fetches what is under way.
    pollfd readable = {end, POLLIN, 0};
    for (int i = 0; i < TRIES && waitingBytes(end) < expected; ++i)
        if (poll(&readable, 1, 0) > 0 && i > 0) usleep(TRY_US);
    return waitingBytes(end) >= expected;
}
