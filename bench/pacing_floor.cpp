// The least that an AT command can cost with the daemon's pacing: the same system calls and nothing
// else. Prints the processor time of one command, in microseconds, and of its two waits alone,
// which is the machine's cost of falling asleep and waking up.
//
//     pacing_floor DEVICE COMMANDS

#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr long WAIT_NS = 10000000;
constexpr int POLLS_MAX = 200;

double processorTimeUs() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) * 1e-3;
}

void waitOnce() {
    const timespec wait{0, WAIT_NS};
    clock_nanosleep(CLOCK_MONOTONIC, 0, &wait, nullptr);
}

bool sendCommand(int port, const char* command) {
    char answer[4096];
    if (write(port, command, strlen(command)) < 0) return false;
    waitOnce();
    if (write(port, "\r", 1) != 1) return false;
    for (int poll = 0; poll < POLLS_MAX; ++poll) {
        waitOnce();
        int waiting = 0;
        if (ioctl(port, FIONREAD, &waiting) != 0) return false;
        if (waiting == 0) continue;
        const ssize_t count = read(port, answer, sizeof answer - 1);
        if (count < 0) return false;
        answer[count] = '\0';
        if (strstr(answer, "OK") != nullptr) return true;
    }
    return false;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) return 2;
    const int port = open(argv[1], O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios settings{};
    if (port < 0 || tcgetattr(port, &settings) != 0) return 1;
    cfmakeraw(&settings);
    tcsetattr(port, TCSANOW, &settings);
    const int commands = atoi(argv[2]);
    if (!sendCommand(port, "AT")) return 1;
    const double start = processorTimeUs();
    for (int i = 0; i < commands; ++i)
        if (!sendCommand(port, "AT+CSQ")) return 1;
    const double waitsStart = processorTimeUs();
    for (int i = 0; i < commands; ++i) {
        waitOnce();
        waitOnce();
    }
    const double end = processorTimeUs();
    printf("%.3f %.3f\n", (waitsStart - start) / commands, (end - waitsStart) / commands);
}
