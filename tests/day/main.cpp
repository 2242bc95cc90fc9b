#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "include/options.h"
#include "platform/include/text_helpers.h"
#include "statemachine/state_machine.h"
#include "tests/day/lasting_faults.h"
#include "tests/day/remote_clock.h"
#include "tests/matrix/faulty_modem.h"
#include "tests/support/temp_folder.h"

// A day, or more, of the daemon on a clock that only its sleeps move: network losses, roaming,
// other addresses, SIM removed and inserted, restarts of the modem, reloads and messages. After the
// last hour it must use the same memory and descriptors as after the first. SIGUSR1 makes the hour
// under way the last one.

namespace {

using nlohmann::json;

constexpr const char* AT_PATH = "/tmp/modem-at";
constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr const char* STATUS_FILE = "/var/log/wireless.cardstats.1";
constexpr const char* CONFIG_FILE = "/etc/vuk/cellular1.conf";
constexpr const char* PIN_FILE = "/etc/vuk/cellular_cpin.1";
constexpr const char* NEW_PIN_FILE = "/etc/vuk/cellular_cpin_new.1";
constexpr const char* SENDER = "+12025550123";

constexpr uint64_t MS_PER_S = 1000;
constexpr uint64_t HOUR_S = 3600;
constexpr int HOURS = 24;
constexpr int HOURS_MAX = 24 * 7;
constexpr int UPTIME_HOURS_MAX = 24 * 365;
constexpr int MESSAGES_A_DAY = 1010;  // in each direction
constexpr double TOLERANCE = 0.02;
constexpr double SINGLE_PAGES_KB = 16;  // that stack and heap use sooner or later
constexpr int DAEMON_SOCKET = 3;

volatile sig_atomic_t g_lastHour = 0;

// Measured at the end of an hour.
struct sMeasure {
    long rssKb = 0;
    long anonymousKb = 0;  // heap, stack and data, including pages that a fork still shares
    int descriptors = 0;
};

long kilobytesOf(const std::string& text, const std::string& key) {
    return textToLong(findNeedleString(text, "\n" + key + ":", "kB"));
}

sMeasure measure(pid_t daemon) {
    const std::string folder = "/proc/" + std::to_string(daemon);
    const std::string memory = readFile(folder + "/smaps_rollup");
    sMeasure result{kilobytesOf(memory, "Rss"), kilobytesOf(memory, "Anonymous"), 0};
    for (const auto& entry : std::filesystem::directory_iterator(folder + "/fd")) {
        (void)entry;
        ++result.descriptors;
    }
    return result;
}

bool isFlat(long lastKb, long firstKb) {
    const double allowedKb = std::max(TOLERANCE * static_cast<double>(firstKb), SINGLE_PAGES_KB);
    return static_cast<double>(std::labs(lastKb - firstKb)) <= allowedKb;
}

size_t takeFilesAway(const std::string& folder) {
    size_t count = 0;
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        found.push_back(entry.path());
    for (const auto& path : found)
        count += std::filesystem::remove(path) ? 1U : 0U;
    return count;
}

// Puts a complete file in place, as other programs do.
void put(const std::string& path, const std::string& text) {
    const std::string draft = "/tmp/draft";
    writeFile(draft, text);
    std::filesystem::copy_file(draft, path + ".draft");
    std::filesystem::rename(path + ".draft", path);
}

[[noreturn]] void becomeDaemon(const std::string& uptimeHours) {
    useRemoteClock(DAEMON_SOCKET, textToLong(uptimeHours) * HOUR_S * MS_PER_S);
    g_S_options = {AT_PATH, GPS_PATH, "wwan0", "1"};
    _exit(runStateMachine());
}

// The events of each hour, by second.
class cDay {
  public:
    cDay(int hours, int uptimeHours)
        : m_hours(hours),
          m_uptimeHours(uptimeHours),
          m_modem({{"sim", {{"pin", "1234"}, {"lock", true}}}, {"sms", {{"capacity", 50}}}},
                  AT_PATH, GPS_PATH) {}

    int run();

  private:
    struct sEvent {
        uint64_t second;
        void (cDay::*happen)();
    };
    static const std::vector<sEvent>& events();

    void order(json request) { m_modem.order(request); }
    void setRegistration(const json& registration) {
        order({{"op", "set"}, {"registration", registration}});
    }
    void losesNetwork() { setRegistration({{"state", "searching"}}); }
    void comesHome() {
        setRegistration({{"state", "home"}, {"plmn", "310410"}, {"operator", "AT&T"}});
    }
    void roams() {
        setRegistration({{"state", "roaming"}, {"plmn", "26201"}, {"operator", "Telekom.de"}});
    }
    void changesAddress() {
        order({{"op", "address"},
               {"cid", 1},
               {"ipv4", "10.99." + std::to_string(m_hour) + "." + std::to_string(++m_addresses)}});
    }
    void dropsContext() { order({{"op", "deactivate"}, {"cid", 1}}); }
    void simOut() { order({{"op", "set"}, {"sim", {{"present", false}}}}); }
    void simIn() { order({{"op", "set"}, {"sim", {{"present", true}}}}); }
    void restarts() { order({{"op", "restart"}, {"away_ms", 20000}}); }
    void hangsUp() { order({{"op", "hangup"}, {"away_ms", 15000}}); }
    void reloads();
    void changesPin() { put(NEW_PIN_FILE, m_hour % 2 == 0 ? "4321\n" : "1234\n"); }

    void fork();
    void serve();
    void takeTurn();
    void exchangeMessages(uint64_t second);
    void endHour();
    int judge();
    void fail(const std::string& why) {
        printf("FAILED: hour %d: %s\n", m_hour, why.c_str());
        m_failed = true;
    }

    int m_hours;
    int m_uptimeHours;  // of the host when the daemon starts
    cFaultyModem m_modem;
    int m_socket = -1;
    pid_t m_daemon = -1;
    int m_hour = 0;
    size_t m_event = 0;  // next of this hour
    int m_addresses = 0;
    int m_messages = 0;
    size_t m_received = 0;
    size_t m_sent = 0;
    std::vector<sMeasure> m_measures;
    bool m_failed = false;
    bool m_ending = false;
};

const std::vector<cDay::sEvent>& cDay::events() {
    static const std::vector<sEvent> EVENTS = {
        {300, &cDay::losesNetwork},    {310, &cDay::comesHome},   // too short to matter
        {600, &cDay::losesNetwork},    {640, &cDay::comesHome},   // the session is dropped
        {900, &cDay::roams},           {1200, &cDay::comesHome},  //
        {1300, &cDay::changesAddress}, {1500, &cDay::dropsContext}, {1700, &cDay::simOut},
        {1760, &cDay::simIn},          {2100, &cDay::restarts},     {2500, &cDay::hangsUp},
        {2800, &cDay::reloads},        {3000, &cDay::changesPin},
    };
    return EVENTS;
}

void cDay::reloads() {
    writeFile(CONFIG_FILE,
              "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_GPS_ENABLE=no\n"
              "CM_SYNC_TIME=no\nCM_MTU=" +
                  std::to_string(1400 + m_hour % HOURS) + "\n");
    if (m_daemon != -1) kill(m_daemon, SIGUSR2);
}

// Executes the program again, so that its memory contains nothing of this process.
void cDay::fork() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) abort();
    m_daemon = ::fork();
    if (m_daemon == 0) {
        if (dup2(ends[1], DAEMON_SOCKET) == -1) _exit(EXIT_FAILURE);
        fcntl(DAEMON_SOCKET, F_SETFD, 0);
        execl("/proc/self/exe", "gateway_day", "--daemon", std::to_string(m_uptimeHours).c_str(),
              nullptr);
        _exit(EXIT_FAILURE);
    }
    close(ends[1]);
    m_socket = ends[0];
}

void cDay::exchangeMessages(uint64_t second) {
    const uint64_t dayS = static_cast<uint64_t>(m_hour) * HOUR_S + second;
    if (dayS < static_cast<uint64_t>(m_messages + 1) * 24 * HOUR_S / MESSAGES_A_DAY) return;
    ++m_messages;
    const std::string text = "message " + std::to_string(m_messages);
    order({{"op", "inject-sms"}, {"from", SENDER}, {"text", text}});
    put("/tmp/sms/send/" + std::to_string(m_messages),
        std::string("TO=") + SENDER + "\nMSG=" + text + "\n");
}

void cDay::endHour() {
    if (readFile(STATUS_FILE).find("_QMI_STATE=CONNECTED\n") == std::string::npos)
        fail("not CONNECTED");
    m_received += takeFilesAway("/tmp/sms/recv");
    m_sent += takeFilesAway("/tmp/sms/send_ok");
    m_measures.push_back(measure(m_daemon));
    const sMeasure& now = m_measures.back();
    printf("hour %2d: RSS %ld kB, anonymous %ld kB, %d descriptors; %zu messages in, %zu out\n",
           m_hour + 1, now.rssKb, now.anonymousKb, now.descriptors, m_received, m_sent);
    fflush(stdout);
    ++m_hour;
    m_event = 0;
    if (m_hour < m_hours && g_lastHour == 0) return;
    m_ending = true;
    kill(m_daemon, SIGTERM);
}

void cDay::takeTurn() {
    if (m_ending) return;
    const uint64_t second = m_modem.nowMs() / MS_PER_S - static_cast<uint64_t>(m_hour) * HOUR_S;
    if (m_event < events().size() && second >= events()[m_event].second) {
        const auto happen = events()[m_event++].happen;
        (this->*happen)();
    }
    // In the last minutes of the hour, messages under way are still processed.
    if (second < HOUR_S - 120) exchangeMessages(second);
    if (second >= HOUR_S) endHour();
}

void cDay::serve() {
    uint64_t microseconds;
    while (takeSleep(m_socket, microseconds)) {
        m_modem.pass(microseconds);
        tellTime(m_socket, m_modem.nowMs());
    }
}

int cDay::judge() {
    int status = 0;
    waitpid(m_daemon, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != eOUTER_EXIT || !m_ending)
        fail("the daemon left by itself, status " + std::to_string(status));
    if (m_measures.empty()) return 1;
    const sMeasure& first = m_measures.front();
    const sMeasure& last = m_measures.back();
    if (!isFlat(last.rssKb, first.rssKb) || !isFlat(last.anonymousKb, first.anonymousKb))
        fail("memory is not flat");
    if (last.descriptors != first.descriptors) fail("descriptors are not flat");
    const auto wanted = static_cast<size_t>(m_messages);
    if (m_received != wanted || m_sent != wanted)
        fail(std::to_string(wanted) + " messages were to come in and to go out");
    for (const std::string& problem : m_modem.problems())
        fail("the modem did not understand " + problem);
    return m_failed ? 1 : 0;
}

int cDay::run() {
    reloads();
    writeFile(PIN_FILE, "1234\n");
    writeFile("/run/poststart", "");
    m_modem.onTurn([this] { takeTurn(); });
    fork();
    signal(SIGUSR1, [](int) { g_lastHour = 1; });
    serve();
    return judge();
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 2 && strcmp(arguments[1], "--daemon") == 0) becomeDaemon(arguments[2]);
    const char* inside = getenv("CELLSLOT_PRIVATE_NAMESPACE");
    if (inside == nullptr || strcmp(inside, "1") != 0) {
        fprintf(stderr, "it changes the host's files: run it with scripts/private_namespace.sh\n");
        return 2;
    }
    if (count > 1 && strcmp(arguments[1], "--faults") == 0)
        return runLastingFaults(count > 2 ? arguments[2] : nullptr);
    const int hours = count > 1 ? textToInt(arguments[1]) : HOURS;
    const int uptimeHours = count > 2 ? textToInt(arguments[2]) : 0;
    if (hours < 2 || hours > HOURS_MAX || uptimeHours < 0 || uptimeHours > UPTIME_HOURS_MAX) {
        fprintf(
            stderr,
            "Usage: gateway_day [HOURS [UPTIME]]   (2 to %d; hours that the host has been up, to "
            "%d)\n"
            "       gateway_day --faults [NAME]\n",
            HOURS_MAX, UPTIME_HOURS_MAX);
        return 2;
    }
    return cDay(hours, uptimeHours).run();
}
