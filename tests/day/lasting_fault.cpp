#include "tests/day/lasting_fault.h"

#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <stdexcept>

#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_starts.h"
#include "include/signal_flags.h"
#include "platform/include/text_helpers.h"
#include "published/paths.h"
#include "statemachine/state_machine.h"
#include "tests/matrix/host_tools.h"
#include "tests/matrix/own_folders.h"
#include "tests/support/captured_log.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/temp_folder.h"

namespace {

using nlohmann::json;

constexpr const char* AT_PATH = "/tmp/modem-at";
constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr const char* SENDER = "+12025550123";

// With login, technology and bands, so that every command of a set-up is sent.
constexpr const char* CONFIG =
    "CM_ENABLE_INTERFACE=yes\nCM_APN=internet\nCM_USERNAME=user\nCM_PASSWORD=secret\n"
    "CM_DATA_SPEED=4g\nCM_BAND_MODE=manual\nCM_3G_BAND=1\nCM_4G_BAND=B4\nCM_SYNC_TIME=yes\n";

constexpr uint64_t RESTART_AFTER_MS = 5000;
constexpr uint64_t BEGUN_S = 120;  // start of a fault that hits a running session
constexpr int POLLED_OFTEN = 4;    // commands that a healthy day sends more often belong to a poll

// ---- what can go wrong with a command ---------------------------------------------------------

json refused(int number) {
    return {{"kind", "cme"}, {"number", number}};
}

// The lines of an answer without its final code.
std::vector<std::string> linesOf(const std::string& body) {
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < body.size()) {
        const size_t end = std::min(body.find("\r\n", at), body.size());
        const std::string line = body.substr(at, end - at);
        if (!line.empty() && line != "OK") lines.push_back(line);
        at = end + 2;
    }
    return lines;
}

// The answer cut off after its first field.
json shortened(const std::string& body) {
    std::vector<std::string> lines = linesOf(body);
    for (std::string& line : lines) {
        const size_t comma = line.find(',');
        line = line.substr(0, comma != std::string::npos ? comma : line.size() / 2);
    }
    return {{"kind", "answer"}, {"lines", lines}, {"final", "OK"}};
}

// The prefix of each line, followed by unreadable text.
json garbled(const std::string& body) {
    std::vector<std::string> lines = linesOf(body);
    for (std::string& line : lines) {
        const size_t colon = line.find(':');
        line = (colon != std::string::npos ? line.substr(0, colon + 1) : "") + " \"?#,,;x";
    }
    return {{"kind", "answer"}, {"lines", lines}, {"final", "OK"}};
}

std::map<std::string, json> waysToFail(const std::string& body) {
    std::map<std::string, json> ways = {
        {"refused", refused(100)},
        {"error", {{"kind", "error"}}},
        {"silent", {{"kind", "silence"}}},
    };
    if (linesOf(body).empty()) return ways;
    ways["short"] = shortened(body);
    ways["garbled"] = garbled(body);
    return ways;
}

struct sCommandUse {
    eModemPort port;
    std::string command;
    std::string body;
    int count = 0;
};

std::vector<sCommandUse> commandsOf(const std::vector<sSent>& healthy) {
    std::vector<sCommandUse> commands;
    for (const sSent& one : healthy) {
        if (one.ending) continue;
        const std::string command = commandClass(one.command);
        auto known = std::find_if(commands.begin(), commands.end(), [&](const sCommandUse& other) {
            return other.port == one.port && other.command == command;
        });
        if (known == commands.end())
            known = commands.insert(commands.end(), {one.port, command, one.body});
        ++known->count;
    }
    return commands;
}

json faultOrder(const sCommandUse& use, json order) {
    order["op"] = "fault";
    order["port"] = use.port == eGPS_PORT ? "gps" : "at";
    if (use.command.back() == '\x1a') {
        order["prefix"] = "AT+CMGS";
        order["stage"] = "data";
    } else {
        order["match"] = use.command;
    }
    return order;
}

// ---- what else can go wrong -------------------------------------------------------------------

void mountReadOnly(const char* folder) {
    mkdir(folder, 0755);
    if (mount("tmpfs", folder, "tmpfs", MS_RDONLY, "mode=755") != 0)
        throw std::runtime_error(std::string("cannot mount ") + folder);
}

void mountFull(const char* folder) {
    mkdir(folder, 0755);
    if (mount("tmpfs", folder, "tmpfs", 0, "mode=755,size=4k,nr_inodes=2") != 0)
        throw std::runtime_error(std::string("cannot mount ") + folder);
}

void makeSpoolFolders() {
    mkdir("/tmp/sms", 0755);
    for (const char* name : {"recv", "recv_parts", "send", "send_ok", "send_fail"})
        mkdir((std::string("/tmp/sms/") + name).c_str(), 0755);
}

void breakSpool() {
    mountReadOnly("/tmp/sms");
}
void breakReceived() {
    makeSpoolFolders();
    mountReadOnly("/tmp/sms/recv");
}
void fillReceived() {
    makeSpoolFolders();
    mountFull("/tmp/sms/recv");
}
void breakSend() {
    makeSpoolFolders();
    rmdir("/tmp/sms/send");
    writeFile("/tmp/sms/send", "");
}
void breakSpoolRoot() {
    writeFile("/tmp/sms", "");
}
void breakStatus() {
    mountReadOnly("/var/log");
}
void fillStatus() {
    mountFull("/var/log");
}
void breakStore() {
    mkdir("/run/cellslot", 0755);
    writeFile("/run/cellslot/skvs", "not a folder");
}
void forgetConfig() {
    unlink("/etc/vuk/cellular1.conf");
}
void breakPinFolder() {
    mountReadOnly("/etc/vuk");
}
void breakGpsPort() {
    g_S_options.s_gps_device = "/tmp/no-such-port";
}
void breakPort() {
    g_S_options.s_device = "/tmp/no-such-port";
}
void breakPortKind() {
    writeFile("/tmp/a-file", "");
    g_S_options.s_device = "/tmp/a-file";
}
void writePin() {
    writeFile("/etc/vuk/cellular_cpin.1", "1234\n");
}
void writeWrongPin() {
    writeFile("/etc/vuk/cellular_cpin.1", "9999\n");
}
void forbidRoaming() {
    writeFile("/etc/vuk/cellular1.conf", std::string(CONFIG) + "CM_ROAMING=home\n");
}
void wantIpv6Only() {
    writeFile("/etc/vuk/cellular1.conf", std::string(CONFIG) + "CM_IPFAMILY=ipv6\n");
}
void failInterfaceScript() {
    failHostTool("setup_cellint.sh -i wwan0 --up");
}
void failInterfaceScriptWhole() {
    failHostTool("setup_cellint.sh");
}
void failClock() {
    failHostTool("systime.sh");
}
void failGpsd() {
    failHostTool("timeout");
}

json simOf(const json& keys) {
    return {{"sim", keys}};
}
json registrationOf(const json& keys) {
    return {{"registration", keys}};
}
json faultsOf(const json& orders) {
    return {{"faults", orders}};
}

sLastingFault lasting(const char* name, const json& scenario, void (*breakHost)() = nullptr) {
    sLastingFault fault;
    fault.name = name;
    fault.scenario = scenario;
    fault.breakHost = breakHost;
    return fault;
}

// ---- a run ------------------------------------------------------------------------------------

class cLastingDay {
  public:
    cLastingDay(const sLastingFault& fault, bool showLog)
        : m_fault(fault), m_showLog(showLog), m_modem(scenario(), AT_PATH, GPS_PATH) {
        m_modem.onTurn([this] { takeTurn(); });
        onPowerCycle([this] { m_modem.powerCycle(3000); });
    }

    sLastingOutcome run();

  private:
    json scenario() const {
        json scenario = m_fault.scenario;
        if (!scenario.contains("gps")) scenario["gps"] = {{"enabled", true}};
        return scenario;
    }
    uint64_t nowS() const { return m_modem.nowMs() / 1000; }
    bool isDue(size_t event, uint64_t second) {
        if (m_done[event] || nowS() < second) return false;
        return m_done[event] = true;
    }
    void takeTurn();
    void countLines();

    const sLastingFault& m_fault;
    bool m_showLog;
    cFaultyModem m_modem;
    bool m_done[3] = {};
    sLastingOutcome m_outcome{};
};

void cLastingDay::countLines() {
    const auto lines = static_cast<unsigned>(capturedLog().size());
    // Lines before the fault belong to the healthy start.
    if (nowS() >= m_fault.fromS) {
        m_outcome.runLines[m_outcome.runs - 1] += lines;
        (nowS() < FIRST_S ? m_outcome.firstLines : m_outcome.laterLines) += lines;
    }
    if (m_showLog)
        for (const std::string& line : capturedLog())
            printf("%8.1f %s\n", static_cast<double>(m_modem.nowMs()) / 1000, line.c_str());
    clearCapturedLog();
}

void cLastingDay::takeTurn() {
    // Lines of a requested end do not come from the fault.
    if (b_got_sigterm) return;
    countLines();
    if (isDue(0, m_fault.fromS))
        for (const json& order : m_fault.orders)
            m_modem.order(order);
    // Messages in both directions, so that faults of messages show.
    if (isDue(1, 60)) {
        for (const char* text : {"one", "two"})
            m_modem.order({{"op", "inject-sms"}, {"from", SENDER}, {"text", text}});
        if (access("/tmp/sms/send/", W_OK) == 0)
            writeFile("/tmp/sms/send/one", std::string("TO=") + SENDER + "\nMSG=text\n");
    }
    if (nowS() >= FIRST_S + LATER_S) b_got_sigterm = true;
}

sLastingOutcome cLastingDay::run() {
    for (;;) {
        ++m_outcome.runs;
        beginStart(loggedFilePath(g_S_options.s_port));
        const uint64_t beginS = nowS();
        // What main itself logs.
        for (const char* line : {"starting", "Writing pid"})
            notice(line);
        runStateMachine();
        if (!b_got_sigterm) countLines();
        m_outcome.lastRunS = static_cast<unsigned>(nowS() - beginS);
        if (b_got_sigterm || m_outcome.runs == RUNS_MAX) break;
        for (uint64_t ms = 0; ms < RESTART_AFTER_MS; ms += 100)
            m_modem.pass(100000);
        resetDaemon();
        m_modem.noteStart();
    }
    m_outcome.seconds = static_cast<unsigned>(nowS());
    m_outcome.finished = true;
    return m_outcome;
}

// The first run, and as many like the last ones as fit into the day. The second may still differ.
unsigned linesOfRestarts(const sLastingOutcome& outcome) {
    const unsigned others = outcome.runs > 2 ? 2 : 1;
    unsigned lines = 0;
    for (unsigned i = 0; i < others; ++i)
        lines += outcome.runLines[i];
    unsigned later = 0;
    for (unsigned i = others; i < outcome.runs; ++i)
        later += outcome.runLines[i];
    const unsigned runsOfDay = DAY_S * outcome.runs / outcome.seconds;
    return lines + later * (runsOfDay - others) / (outcome.runs - others);
}

}  // namespace

bool isStartedAgainAndAgain(const sLastingOutcome& outcome) {
    return outcome.runs > 1 && outcome.lastRunS < LATER_S;
}

unsigned linesOfDay(const sLastingOutcome& outcome) {
    if (isStartedAgainAndAgain(outcome)) return linesOfRestarts(outcome);
    return outcome.firstLines + outcome.laterLines * (DAY_S - FIRST_S) / LATER_S;
}

std::vector<sLastingFault> commandFaults(const std::vector<sSent>& healthy) {
    std::vector<sLastingFault> faults;
    for (const sCommandUse& use : commandsOf(healthy)) {
        const std::string name = (use.port == eGPS_PORT ? "gps:" : "") + printable(use.command, 60);
        for (const auto& [way, order] : waysToFail(use.body)) {
            sLastingFault fault;
            fault.name = name + "/" + way;
            fault.orders = json::array({faultOrder(use, order)});
            faults.push_back(fault);
            if (use.count <= POLLED_OFTEN) continue;
            fault.name += "/later";
            fault.fromS = BEGUN_S;
            faults.push_back(fault);
        }
    }
    return faults;
}

std::vector<sLastingFault> otherFaults() {
    const json locked = simOf({{"pin", "1234"}, {"lock", true}});
    const json ready = json::object();
    const auto cnum = [](int number) {
        return faultsOf({{{"match", "AT+CNUM"}, {"kind", "cme"}, {"number", number}}});
    };
    const json pinSilent = {{"sim", {{"pin", "1234"}, {"lock", true}}},
                            {"faults", {{{"prefix", "AT+CPIN="}, {"kind", "silence"}}}}};
    const json pinError = {{"sim", {{"pin", "1234"}, {"lock", true}}},
                           {"faults", {{{"prefix", "AT+CPIN="}, {"kind", "error"}}}}};
    return {
        lasting("no fault", ready),
        lasting("sim locked, no PIN file", locked),
        lasting("sim locked, wrong PIN", locked, writeWrongPin),
        lasting("sim locked, PIN command silent", pinSilent, writePin),
        lasting("sim locked, PIN command error", pinError, writePin),
        lasting("sim locked by its PUK",
                simOf({{"pin", "1234"}, {"lock", true}, {"pin_attempts", 0}})),
        lasting("sim missing", simOf({{"present", false}})),
        lasting("AT+CNUM always CME 11", cnum(11)),
        lasting("#PSNT type unknown", faultsOf({{{"match", "AT#PSNT?;#RFSTS"},
                                                 {"kind", "answer"},
                                                 {"lines", {"#PSNT: 0,17"}},
                                                 {"final", "OK"}}})),
        lasting("no network", registrationOf({{"state", "searching"}})),
        lasting("registration refused", registrationOf({{"state", "denied"}})),
        lasting("roaming forbidden", registrationOf({{"state", "roaming"}}), forbidRoaming),
        lasting("attach refused", registrationOf({{"accepts_attach", false}})),
        lasting("PDP refused", registrationOf({{"accepts_activation", false}})),
        lasting("IPv6 network, both wanted", {{"addresses", {{"families", "ipv6"}}}}),
        lasting("IPv6 network, IPv6 wanted", {{"addresses", {{"families", "ipv6"}}}}, wantIpv6Only),
        lasting("spool read-only", ready, breakSpool),
        lasting("spool is a file", ready, breakSpoolRoot),
        lasting("spool recv read-only", ready, breakReceived),
        lasting("spool recv full", ready, fillReceived),
        lasting("spool send is a file", ready, breakSend),
        lasting("status folder read-only", ready, breakStatus),
        lasting("status folder full", ready, fillStatus),
        lasting("store fails", ready, breakStore),
        lasting("configuration missing", ready, forgetConfig),
        lasting("PIN folder read-only", locked, breakPinFolder),
        lasting("GPS port missing", ready, breakGpsPort),
        lasting("GPS receiver missing", {{"gps", {{"enabled", false}, {"chipset", ""}}}}),
        lasting("port missing", ready, breakPort),
        lasting("port is a file", ready, breakPortKind),
        lasting("interface script fails", ready, failInterfaceScript),
        lasting("interface script missing", ready, failInterfaceScriptWhole),
        lasting("clock cannot be set", ready, failClock),
        lasting("gpsd takes no port", ready, failGpsd),
        lasting("modem silent", faultsOf({{{"prefix", "AT"}, {"kind", "silence"}}})),
        lasting("modem refuses all", faultsOf({{{"prefix", "AT"}, {"kind", "error"}}})),
        lasting("factory test mode", {{"test_mode", true}}),
    };
}

sLastingOutcome runLastingFault(const sLastingFault& fault, bool showLog) {
    enterOwnFolders();
    writeFile("/etc/vuk/cellular1.conf", std::string(CONFIG) + "CM_GPS_ENABLE=yes\n");
    writeFile("/run/poststart", "");
    resetDaemon();
    g_S_options = {AT_PATH, GPS_PATH, "wwan0", "1"};
    if (fault.breakHost != nullptr) fault.breakHost();
    return cLastingDay(fault, showLog).run();
}
