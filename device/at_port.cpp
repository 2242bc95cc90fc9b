#include "device/at_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "device/link_state.h"
#include "device/recorder.h"
#include "include/debug.h"
#include "include/sleep.h"
#include "platform/include/timer_clock.h"

namespace {

// Each is tested as a single bit of the file type, so a block device passes as a character device.
// It then fails at the terminal requests.
constexpr mode_t CHARACTER_DEVICE_BIT = 0x2000;
constexpr mode_t FIFO_BIT = 0x1000;

constexpr unsigned CARRIAGE_RETURN_DELAY_US = 10000;
constexpr int WRITE_ATTEMPTS = 3;

void makeRaw(termio& settings) {
    settings.c_iflag &= static_cast<tcflag_t>(~(BRKINT | IGNPAR | PARMRK | INPCK | ISTRIP | INLCR |
                                                IGNCR | ICRNL | IUCLC | IXON | IXANY | IXOFF));
    settings.c_iflag |= IGNBRK;
    settings.c_oflag &= static_cast<tcflag_t>(~OPOST);
    settings.c_cflag &= static_cast<tcflag_t>(~(CSIZE | PARENB | CSTOPB | CBAUD | CBAUDEX));
    settings.c_cflag |= CLOCAL | CREAD | CS8 | B230400;
    settings.c_lflag &= static_cast<tcflag_t>(~(ISIG | ICANON | ECHO | ECHOE));
    settings.c_cc[VTIME] = 0;
    settings.c_cc[VMIN] = 0;
}

// What a failed write() says of the port. errno stays.
void recordFailedWrite(int port) {
    const int error = errno;
    if (isRecording() && error != EAGAIN && error != EINTR) recordHangUp(port, error);
    errno = error;
}

// Writes the carriage return of a command of which `size` bytes were written.
void endCommand(int port, const char* text, size_t size) {
    const uint64_t textMs = isRecording() ? timerClockMs() : 0;
    // The modem needs time for the text before it accepts the carriage return.
    sleepMicroseconds(CARRIAGE_RETURN_DELAY_US);
    const char end = eCR;
    if (write(port, &end, 1) == 1) {
        if (isRecording()) recordCommand(port, text, size, textMs);
        return;
    }
    // Without its carriage return the modem stays silent, and the wait for the answer times out.
    const int error = errno;
    if (isRecording()) recordWrite(port, text, size);
    errno = error;
    recordFailedWrite(port);
}

}  // namespace

int openDevice(const std::string& path, int& port) {
    port = -1;
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        const int error = errno;
        noteFailedOpen(path, error);
        debug(eLOG_PORT, g_i_debugMode, "Error: Cannot stat '%s', errno %d (%s)", path.c_str(),
              error, strerror(error));
        return error;
    }
    if ((info.st_mode & CHARACTER_DEVICE_BIT) != 0) {
        if (const int error = doOpenDevice(path, port)) return error;
        debug(eLOG_NOTICE, g_i_debugMode, "Opened Char device '%s'", path.c_str());
        const int error = doSetupTty(port);
        if (error != 0) closeDevice(port);
        return error;
    }
    if ((info.st_mode & FIFO_BIT) != 0) {
        if (const int error = doOpenDevice(path, port)) return error;
        debug(eLOG_NOTICE, g_i_debugMode, "Opened FIFO device '%s'", path.c_str());
        return 0;
    }
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot open non Character/FIFO file '%s'",
          path.c_str());
    return 1;
}

int doOpenDevice(const std::string& path, int& port) {
    // Close-on-exec: a command in the background must not keep a lost port busy.
    port = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (port != -1) {
        forgetLink(port);
        noteOpenPort(port, path);
        return 0;
    }
    const int error = errno;
    noteFailedOpen(path, error);
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot open '%s', errno %d (%s)", path.c_str(), error,
          strerror(error));
    return error;
}

int doSetupTty(int port) {
    termio settings;
    if (ioctl(port, TCGETA, &settings) != 0) {
        const int error = errno;
        debug(eLOG_NOTICE, g_i_debugMode, "Unable to read ioctl from FH %d, errno %d (%s)", port,
              error, strerror(error));
        return error;
    }
    makeRaw(settings);
    if (ioctl(port, TCSETA, &settings) != 0) {
        const int error = errno;
        debug(eLOG_NOTICE, g_i_debugMode, "Unable to write ioctl to FH %d, errno %d (%s)", port,
              error, strerror(error));
        return error;
    }
    return 0;
}

void closeDevice(int& port) {
    if (port != -1) {
        forgetLink(port);
        noteClosedPort(port);
        close(port);
    }
    port = -1;
}

bool isPortLost(int port) {
    pollfd polled = {port, 0, 0};
    const bool isLost = poll(&polled, 1, 0) == 1 && (polled.revents & POLLHUP) != 0;
    if (isLost && isRecording()) recordHangUp(port, 0);
    return isLost;
}

ePortReturn writeToPort(int port, const std::string& text, bool withCarriageReturn) {
    if (port == -1) {
        debug(eLOG_PORT, g_i_debugMode, "%s(): Error: Cannot send to FH %d", __func__, port);
        return ePORT_ERROR;
    }
    debug(eLOG_PORT, g_i_debugMode, "%s(): Sending AT command: '%s'", __func__, text.c_str());
    for (int attempt = 0; attempt < WRITE_ATTEMPTS; ++attempt) {
        const ssize_t count = write(port, text.data(), text.size());
        if (count != -1) {
            const auto size = static_cast<size_t>(count);
            if (!withCarriageReturn) {
                if (isRecording()) recordWrite(port, text.data(), size);
                debug(eLOG_PORT, g_i_debugMode, "%s(): NOT Sending end CR after '%s'", __func__,
                      text.c_str());
                return ePORT_OK;
            }
            endCommand(port, text.data(), size);
            return ePORT_OK;
        }
        recordFailedWrite(port);
        if (errno != EAGAIN) {
            debug(eLOG_NOTICE, g_i_debugMode, "%s(): Unable to write to device FH, errno %d (%s)",
                  __func__, errno, strerror(errno));
            return ePORT_ERROR;
        }
        sleepMicroseconds(CARRIAGE_RETURN_DELAY_US);
    }
    return ePORT_ERROR;
}

int readFromPort(int port, std::string& buffer, int maxBytes) {
    buffer.clear();
    int waiting = 0;
    if (ioctl(port, FIONREAD, &waiting) != 0) {
        if (isRecording()) recordHangUp(port, errno);
        debug(eLOG_PORT, g_i_debugMode, "%s(): No Response from device", __func__);
        return -1;
    }
    if (waiting <= 0) {
        if (isRecording()) recordSilence();
        return 0;
    }
    buffer.resize(static_cast<size_t>(std::min(waiting, maxBytes)));
    const ssize_t count = read(port, buffer.data(), buffer.size());
    buffer.resize(count > 0 ? static_cast<size_t>(count) : 0);
    if (isRecording() && count > 0) recordRead(port, buffer.data(), buffer.size());
    return static_cast<int>(count);
}
