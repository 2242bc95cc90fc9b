#include "device/at_port.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "include/sleep.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/temp_folder.h"

namespace {

using eLink = cFakePort::eLink;

// Settings that are wrong for a modem in every bit that matters, and right in some that must not
// change.
void spoilTerminal(int fd) {
    termios settings;
    ASSERT_EQ(tcgetattr(fd, &settings), 0);
    settings.c_iflag = BRKINT | IGNPAR | PARMRK | INPCK | ISTRIP | INLCR | IGNCR | ICRNL | IUCLC |
                       IXON | IXANY | IXOFF | IMAXBEL;
    settings.c_oflag = OPOST | ONLCR;
    settings.c_cflag = CS7 | PARENB | CSTOPB | CRTSCTS | HUPCL;
    settings.c_lflag = ISIG | ICANON | ECHO | ECHOE | ECHOK | IEXTEN;
    settings.c_cc[VMIN] = 5;
    settings.c_cc[VTIME] = 7;
    cfsetspeed(&settings, B9600);
    ASSERT_EQ(tcsetattr(fd, TCSANOW, &settings), 0);
}

struct sPipe {
    int reader = -1;
    int writer = -1;
    sPipe() {
        int ends[2];
        if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) == 0) {
            reader = ends[0];
            writer = ends[1];
        }
    }
    ~sPipe() {
        close(reader);
        close(writer);
    }
    size_t fill() const {
        const std::string block(4096, 'x');
        size_t total = 0;
        for (ssize_t count; (count = write(writer, block.data(), block.size())) > 0;)
            total += static_cast<size_t>(count);
        return total;
    }
    std::string drain() const {
        std::string text;
        char buffer[4096];
        for (ssize_t count; (count = read(reader, buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<size_t>(count));
        return text;
    }
};

sPipe* g_pipe;
size_t g_sleeps;
size_t g_drainAt;
std::string g_drained;

// Empties the pipe at a given sleep.
void drainingSleep(unsigned microseconds) {
    EXPECT_EQ(microseconds, 10000u);
    if (++g_sleeps == g_drainAt) g_drained += g_pipe->drain();
}

struct sDrainingSleep {
    sDrainingSleep(sPipe& filled, size_t drainAt) {
        g_pipe = &filled;
        g_sleeps = 0;
        g_drainAt = drainAt;
        g_drained.clear();
        setSleepFunction(drainingSleep);
    }
    ~sDrainingSleep() { setSleepFunction(nullptr); }
};

std::string boundSocket(const cTempFolder& folder, int& fd) {
    const std::string path = folder / "socket";
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return path;
}

}  // namespace

TEST(OpenDevice, Terminal_IsSetToRaw230400) {
    cFakePort port(eLink::TERMINAL);
    const int other = open(port.path().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_NE(other, -1);
    spoilTerminal(other);
    termios before;
    ASSERT_EQ(tcgetattr(other, &before), 0);
    const cLogMode mode;
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"Opened Char device '" + port.path() + "'"});

    termios settings;
    ASSERT_EQ(tcgetattr(port.descriptor(), &settings), 0);
    EXPECT_EQ(settings.c_iflag, static_cast<tcflag_t>(IGNBRK | IMAXBEL));
    EXPECT_EQ(settings.c_oflag, static_cast<tcflag_t>(ONLCR));
    EXPECT_EQ(settings.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(settings.c_cflag & (PARENB | CSTOPB), 0u);
    EXPECT_EQ(settings.c_cflag & (CLOCAL | CREAD), static_cast<tcflag_t>(CLOCAL | CREAD));
    EXPECT_EQ(cfgetospeed(&settings), static_cast<speed_t>(B230400));
    EXPECT_EQ(settings.c_lflag, static_cast<tcflag_t>(ECHOK | IEXTEN));
    EXPECT_EQ(settings.c_cc[VMIN], 0);
    EXPECT_EQ(settings.c_cc[VTIME], 0);
    // Flow control is not changed.
    EXPECT_EQ(settings.c_cflag & CRTSCTS, before.c_cflag & CRTSCTS);
    EXPECT_EQ(settings.c_cflag & HUPCL, before.c_cflag & HUPCL);
    close(other);
}

TEST(OpenDevice, Terminal_IsNonBlockingAndClosedOnExec) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    EXPECT_EQ(fcntl(port.descriptor(), F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(fcntl(port.descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(OpenDevice, Terminal_DoesNotBecomeControlling) {
    const cFakePort port(eLink::TERMINAL);
    const pid_t child = fork();
    if (child == 0) {
        int descriptor;
        setsid();
        const bool opened = openDevice(port.path(), descriptor) == 0;
        _exit(opened && open("/dev/tty", O_RDWR | O_NOCTTY) == -1 ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(OpenDevice, Fifo_OpensWithoutTerminalSettings) {
    const cTempFolder folder;
    const std::string path = folder / "fifo";
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const cLogMode mode;
    int descriptor = -1;
    EXPECT_EQ(openDevice(path, descriptor), 0);
    ASSERT_NE(descriptor, -1);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"Opened FIFO device '" + path + "'"});
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    closeDevice(descriptor);
}

TEST(OpenDevice, RegularFileFolderAndSocket_AreRefused) {
    const cTempFolder folder;
    writeFile(folder / "file", "");
    int socketFd = -1;
    for (const std::string& path :
         {folder / "file", folder.path(), boundSocket(folder, socketFd)}) {
        const cLogMode mode;
        int descriptor = 7;
        EXPECT_EQ(openDevice(path, descriptor), 1) << path;
        EXPECT_EQ(descriptor, -1) << path;
        EXPECT_EQ(capturedLog(), std::vector<std::string>{
                                     "Error: Cannot open non Character/FIFO file '" + path + "'"});
    }
    close(socketFd);
}

// One bit of the file type is tested, and a block device has it too.
TEST(OpenDevice, BlockDevice_CountsAsACharacterDeviceUntilItIsOpened) {
    const cTempFolder folder;
    const std::string path = folder / "block";
    if (mknod(path.c_str(), S_IFBLK | 0600, 0) != 0) GTEST_SKIP() << "not permitted here";
    const cLogMode mode;
    int descriptor = 7;
    EXPECT_GT(openDevice(path, descriptor), 1);
    EXPECT_EQ(descriptor, -1);
    ASSERT_EQ(capturedLog().size(), 1u);
    EXPECT_EQ(capturedLog()[0].find("Error: Cannot open '" + path + "', errno "), 0u);
}

TEST(OpenDevice, MissingNode_GivesErrno2) {
    const cTempFolder folder;
    const std::string path = folder / "ttyUSB9";
    const cLogMode mode(eLOG_PORT);
    int descriptor = 7;
    EXPECT_EQ(openDevice(path, descriptor), 2);
    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"DEBUG: Error: Cannot stat '" + path +
                                                      "', errno 2 (" + strerror(ENOENT) + ")"});
}

TEST(OpenDevice, MissingNode_IsNotLoggedWithoutThePortCategory) {
    const cTempFolder folder;
    const cLogMode mode;
    int descriptor;
    openDevice(folder / "ttyUSB9", descriptor);
    EXPECT_TRUE(capturedLog().empty());
}

TEST(OpenDevice, CharacterDeviceThatIsNoTerminal_IsClosedAgain) {
    const cLogMode mode;
    int descriptor = 7;
    EXPECT_EQ(openDevice("/dev/null", descriptor), ENOTTY);
    EXPECT_EQ(descriptor, -1);
    ASSERT_EQ(capturedLog().size(), 2u);
    EXPECT_EQ(capturedLog()[0], "Opened Char device '/dev/null'");
    EXPECT_EQ(capturedLog()[1].find("Unable to read ioctl from FH "), 0u);
    EXPECT_TRUE(logContains(", errno 25 ("));
}

TEST(DoOpenDevice, Failure_GivesErrnoAndSaysSo) {
    const cTempFolder folder;
    const cLogMode mode;
    int descriptor = 7;
    EXPECT_EQ(doOpenDevice(folder.path(), descriptor), EISDIR);
    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(capturedLog(), std::vector<std::string>{"Error: Cannot open '" + folder.path() +
                                                      "', errno 21 (" + strerror(EISDIR) + ")"});
}

TEST(CloseDevice, Handle_IsClosedOnceAndMinus1) {
    const sPipe ends;
    int descriptor = dup(ends.reader);
    const int number = descriptor;
    closeDevice(descriptor);
    EXPECT_EQ(descriptor, -1);
    EXPECT_EQ(fcntl(number, F_GETFD), -1);
    closeDevice(descriptor);
    EXPECT_EQ(descriptor, -1);
}

TEST(IsPortLost, TerminalWithoutItsOtherEnd_IsLost) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    EXPECT_FALSE(isPortLost(port.descriptor()));
    port.say("not yet read");
    EXPECT_FALSE(isPortLost(port.descriptor()));
    port.hangUp();
    EXPECT_TRUE(isPortLost(port.descriptor()));
}

TEST(IsPortLost, ClosedPortAndFifo_AreNot) {
    EXPECT_FALSE(isPortLost(-1));
    const cTempFolder folder;
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    int descriptor = -1;
    ASSERT_EQ(openDevice(folder / "fifo", descriptor), 0);
    EXPECT_FALSE(isPortLost(descriptor));
    closeDevice(descriptor);
}

TEST(WriteToPort, WithCarriageReturn_WritesItTenMillisecondsLater) {
    cFakePort port;
    port.setEcho(false);
    port.silence();
    const cLogMode mode(eLOG_PORT);
    EXPECT_EQ(writeToPort(port.descriptor(), "AT+CSQ", true), ePORT_OK);
    EXPECT_EQ(port.written(), "AT+CSQ") << "the carriage return comes after the sleep";
    sleepMicroseconds(1);
    EXPECT_EQ(port.written(), "AT+CSQ\r");
    EXPECT_EQ(port.sleepsUs(), (std::vector<unsigned>{10000, 1}));
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"DEBUG: writeToPort(): Sending AT command: 'AT+CSQ'"});
}

TEST(WriteToPort, WithoutCarriageReturn_WritesTheTextOnly) {
    cFakePort port;
    const cLogMode mode(eLOG_PORT);
    EXPECT_EQ(writeToPort(port.descriptor(), "07\x1a", false), ePORT_OK);
    EXPECT_TRUE(port.sleepsUs().empty());
    sleepMicroseconds(1);
    EXPECT_EQ(port.written(), "07\x1a");
    EXPECT_TRUE(port.commands().empty());
    EXPECT_EQ(capturedLog().size(), 2u);
    EXPECT_TRUE(logContains("writeToPort(): NOT Sending end CR after '07"));
}

TEST(WriteToPort, ClosedHandle_IsAnErrorWithoutASystemCall) {
    const cLogMode mode(eLOG_PORT);
    errno = 0;
    EXPECT_EQ(writeToPort(-1, "AT", true), ePORT_ERROR);
    EXPECT_EQ(errno, 0) << "a write to -1 would have set EBADF";
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"DEBUG: writeToPort(): Error: Cannot send to FH -1"});
}

TEST(WriteToPort, PortFull_TriesThreeTimesTenMillisecondsApart) {
    sPipe full;
    full.fill();
    const sDrainingSleep sleep(full, 0);
    EXPECT_EQ(writeToPort(full.writer, "AT", true), ePORT_ERROR);
    EXPECT_EQ(g_sleeps, 3u);
    EXPECT_EQ(full.drain().find("AT"), std::string::npos);
}

TEST(WriteToPort, PortFullTwice_SucceedsAtTheThirdAttempt) {
    sPipe full;
    full.fill();
    const sDrainingSleep sleep(full, 2);
    EXPECT_EQ(writeToPort(full.writer, "AT", true), ePORT_OK);
    EXPECT_EQ(g_sleeps, 3u) << "two before the attempts, one before the carriage return";
    EXPECT_EQ(full.drain(), "AT\r");
}

TEST(WriteToPort, ShortWrite_CountsAsSuccess) {
    sPipe small;
    ASSERT_EQ(fcntl(small.writer, F_SETPIPE_SZ, 4096), 4096);
    const sDrainingSleep sleep(small, 1);
    EXPECT_EQ(writeToPort(small.writer, std::string(5000, 'A'), true), ePORT_OK);
    EXPECT_EQ(g_drained, std::string(4096, 'A'));
    EXPECT_EQ(small.drain(), "\r");
}

TEST(WriteToPort, CarriageReturnThatDoesNotFit_IsNotNoticed) {
    sPipe small;
    ASSERT_EQ(fcntl(small.writer, F_SETPIPE_SZ, 4096), 4096);
    const sDrainingSleep sleep(small, 0);
    EXPECT_EQ(writeToPort(small.writer, std::string(4096, 'A'), true), ePORT_OK);
    EXPECT_EQ(small.drain(), std::string(4096, 'A'));
}

TEST(WriteToPort, HungUpPort_IsAnErrorAtOnce) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.hangUp();
    const cLogMode mode;
    EXPECT_EQ(writeToPort(port.descriptor(), "AT", true), ePORT_ERROR);
    EXPECT_TRUE(port.sleepsUs().empty());
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"writeToPort(): Unable to write to device FH, errno 5 (" +
                                       std::string(strerror(EIO)) + ")"});
}

TEST(ReadFromPort, NothingWaiting_GivesZeroAndClearsTheBuffer) {
    cFakePort port;
    std::string buffer = "before";
    EXPECT_EQ(readFromPort(port.descriptor(), buffer, 100), 0);
    EXPECT_EQ(buffer, "");
}

TEST(ReadFromPort, Bytes_AreReadCompletely) {
    cFakePort port;
    const std::string bytes("a\0b\xff\r\n", 6);
    port.say(bytes);
    std::string buffer;
    EXPECT_EQ(readFromPort(port.descriptor(), buffer, 131072), 6);
    EXPECT_EQ(buffer, bytes);
}

TEST(ReadFromPort, MoreThanTheMaximum_LeavesTheRestWaiting) {
    cFakePort port;
    port.say("0123456789");
    std::string buffer;
    EXPECT_EQ(readFromPort(port.descriptor(), buffer, 4), 4);
    EXPECT_EQ(buffer, "0123");
    EXPECT_EQ(readFromPort(port.descriptor(), buffer, 100), 6);
    EXPECT_EQ(buffer, "456789");
}

TEST(ReadFromPort, HungUpPort_GivesMinus1) {
    cFakePort port(eLink::TERMINAL);
    ASSERT_EQ(openDevice(port.path(), port.descriptor()), 0);
    port.hangUp();
    const cLogMode mode(eLOG_PORT);
    std::string buffer = "before";
    EXPECT_EQ(readFromPort(port.descriptor(), buffer, 100), -1);
    EXPECT_EQ(buffer, "");
    EXPECT_EQ(capturedLog(),
              std::vector<std::string>{"DEBUG: readFromPort(): No Response from device"});
}
