#include "tests/unit/sms/fixture.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "include/device_records.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/sleep.h"
#include "le910sim/sms_pdu.h"
#include "platform/include/timer_clock.h"
#include "sms/sms.h"
#include "sms/spool.h"
#include "sms/wall_clock.h"

namespace {

// The clock of a fake port starts here too.
constexpr uint64_t CLOCK_START_MS = 1000000;

uint64_t g_sleptUs;

void countSleep(unsigned microseconds) {
    g_sleptUs += microseconds;
}

uint64_t sleptClock() {
    return CLOCK_START_MS + g_sleptUs / 1000;
}

timespec fakeWallClock() {
    const uint64_t ms = timerClockMs() - CLOCK_START_MS;
    return {cSmsFixture::START_S + static_cast<time_t>(ms / 1000),
            static_cast<long>(ms % 1000 * 1000000)};
}

}  // namespace

cSmsFixture::cSmsFixture()
    : m_device(std::make_unique<sDeviceInfo>()), device(*m_device), m_savedRoot(g_s_root_sms_path) {
    g_s_root_sms_path = root;
    setenv("TZ", "UTC", 1);
    g_sleptUs = 0;
    setSleepFunction(countSleep);
    setTimerClock(sleptClock);
    setWallClock(fakeWallClock);
    resetSmsState();
    resetRepeatedNotices();
    setupVariableMaps();
    g_S_options.s_port = "1";
    device.network.b_registered = true;
    makeSmsDirs(root);
}

cSmsFixture::~cSmsFixture() {
    g_s_root_sms_path = m_savedRoot;
    setSleepFunction(nullptr);
    setTimerClock(nullptr);
    setWallClock(nullptr);
    resetSmsState();
}

std::vector<std::string> cSmsFixture::names(const std::string& dir) const {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(in(dir)))
        found.push_back(entry.path().filename().string());
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::string> cSmsFixture::contents(const std::string& dir) const {
    std::vector<std::string> found;
    for (const std::string& name : names(dir))
        found.push_back(readFile(in(dir, name)));
    std::sort(found.begin(), found.end());
    return found;
}

std::string cSmsFixture::putPart(const std::string& name, int id, int number, int total,
                                 const std::string& from, const std::string& text,
                                 const std::string& timeUf) const {
    const std::string path = in("recv_parts", name);
    writeFile(path, "FROM=" + from + "\nTIME=time of " + name + "\nTIMEUF=" + timeUf + "\nMSG_ID=" +
                        std::to_string(id) + "\nMSG_PART_NUMBER=" + std::to_string(number) +
                        "\nMSG_PART_TOTAL=" + std::to_string(total) + "\nMSG=" + text);
    return path;
}

void cSmsFixture::putSend(const std::string& name, const std::string& text) const {
    writeFile(in("send", name), "TO=+12025550123\nMSG=" + text + "\n");
}

void setFileTime(const std::string& path, time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
}

S_smsRecordRx singleRecord(const std::string& from, const std::string& text) {
    S_smsRecordRx record;
    record.from = from;
    record.time = "2020-06-15 20:32:05";
    record.timeUnformatted = "1592253125";
    record.message = text;
    return record;
}

S_smsRecordRx partRecord(const std::string& from, int id, int number, int total,
                         const std::string& text) {
    S_smsRecordRx record = singleRecord(from, text);
    record.msgId = id;
    record.partNumber = number;
    record.partTotal = total;
    return record;
}

tSmsQueue queueOf(const std::vector<S_smsRecordRx>& records) {
    tSmsQueue queue;
    for (const S_smsRecordRx& record : records)
        queue.push(record);
    return queue;
}

std::vector<S_smsRecordRx> recordsOf(tSmsQueue queue) {
    std::vector<S_smsRecordRx> records;
    for (; !queue.empty(); queue.pop())
        records.push_back(queue.front());
    return records;
}

std::string deliverPdu(const std::string& from, const std::string& text, int reference, int part,
                       int total, const std::string& clock) {
    le910sim::sDeliver message;
    message.serviceCentre = "+12025550100";
    message.from = from;
    message.text = text;
    message.time = *le910sim::parseClock(clock);
    message.reference = reference;
    message.part = part;
    message.total = total;
    return le910sim::buildDeliver(message);
}

std::string listing(const std::vector<std::string>& pdus) {
    std::string text = "\r\n";
    int index = 1;
    for (const std::string& pdu : pdus)
        text += "+CMGL: " + std::to_string(index++) + ",0,\"\"," +
                std::to_string(le910sim::pduLength(pdu)) + "\r\n" + pdu + "\r\n";
    return text + "\r\nOK\r\n";
}

bool killedAtCall(int calls, const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSTOPPED(status));
    // Each call stops twice: before and after.
    for (int stop = 0; WIFSTOPPED(status) && stop < 2 * calls - 1; ++stop) {
        EXPECT_EQ(ptrace(PTRACE_SYSCALL, child, nullptr, nullptr), 0);
        waitpid(child, &status, 0);
    }
    if (WIFEXITED(status)) return false;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return true;
}

cNoSpace::cNoSpace() {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_saved);
    const rlimit none = {0, m_saved.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
}

cNoSpace::~cNoSpace() {
    setrlimit(RLIMIT_FSIZE, &m_saved);
}
