#include "tests/support/terminal_bytes.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace {

constexpr int TERMINAL_HOLDS = 4095;  // for its reader; the rest is kept further back
constexpr int TRIES = 100000;
constexpr useconds_t TRY_US = 50;

}  // namespace

int waitingBytes(int end) {
    int count = 0;
    ioctl(end, FIONREAD, &count);
    return count;
}

bool waitForBytes(int end, int expected) {
    expected = std::min(expected, TERMINAL_HOLDS);
    // Where nothing waits yet, asking for readiness fetches what is on its way.
    pollfd readable = {end, POLLIN, 0};
    for (int i = 0; i < TRIES && waitingBytes(end) < expected; ++i)
        if (poll(&readable, 1, 0) > 0 && i > 0) usleep(TRY_US);
    return waitingBytes(end) >= expected;
}
