#include "tests/matrix/cell.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "include/options.h"
#include "include/signal_flags.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "statemachine/state_machine.h"
#include "tests/matrix/day_difference.h"
#include "tests/matrix/host_tools.h"
#include "tests/matrix/own_folders.h"
#include "tests/matrix/waits.h"
#include "tests/replay/recorded_run.h"
#include "tests/replay/replayed_day.h"
#include "tests/support/captured_log.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/published_state.h"
#include "tests/support/temp_folder.h"

namespace {

using nlohmann::json;

constexpr const char* AT_PATH = "/tmp/modem-at";
constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr const char* STATUS_FILE = "/var/log/wireless.cardstats.1";
constexpr const char* PIN_FILE = "/etc/vuk/cellular_cpin.1";
constexpr const char* NEW_PIN_FILE = "/etc/vuk/cellular_cpin_new.1";
constexpr const char* PUK_FILE = "/etc/vuk/cellular_puk.1";

constexpr int STATUS_ENDED = 2;
constexpr int STATUS_RESET = 3;
// A reset comes after at least ten errors, each in a pass of half a second; a modem takes seconds
// to come back.
constexpr int STARTS_MAX = 4;
constexpr int STARTS_OF_LASTING_MAX = 8;
constexpr uint64_t RESTART_AFTER_MS = 5000;  // as a service manager does
constexpr uint64_t TARGET_BY_MS = 120000;
constexpr uint64_t GIVE_UP_MS = 900000;

// With login, technology and bands, so that every command of a set-up is sent.
const char* const CONFIG =
    "CM_ENABLE_INTERFACE=yes\n"
    "CM_APN=internet\n"
    "CM_USERNAME=user\n"
    "CM_PASSWORD=secret\n"
    "CM_DATA_SPEED=4g\n"
    "CM_BAND_MODE=manual\n"
    "CM_3G_BAND=1\n"
    "CM_4G_BAND=B4\n"
    "CM_SYNC_TIME=yes\n";

bool isUsual(eDay day) {
    return day == eDAY_USUAL || day == eDAY_GPS_OFF;
}

json scenarioOf(eDay day) {
    switch (day) {
        case eDAY_USUAL:
            return {{"gps", {{"enabled", true}}}};
        case eDAY_GPS_OFF:
            return json::object();
        case eDAY_PIN:
            return {{"sim", {{"pin", "1234"}, {"lock", true}}}};
        case eDAY_WRONG_PIN:
            return {{"sim", {{"pin", "4321"}, {"lock", true}}}};
        case eDAY_WRONG_OLD_PIN:
        case eDAY_WRONG_PIN_OFF:
            return {{"sim", {{"pin", "4321"}, {"lock", true}, {"verified", true}}}};
        case eDAY_WRONG_PUK:
            return {{"sim", {{"pin", "4321"}, {"lock", true}, {"pin_attempts", 0}}}};
    }
    throw std::logic_error("a day without a scenario");
}

struct sGivenFile {
    const char* path;
    std::string text;
};

std::vector<sGivenFile> filesOf(eDay day) {
    const std::string gps = isUsual(day) ? "CM_GPS_ENABLE=yes\n" : "CM_GPS_ENABLE=no\n";
    std::vector<sGivenFile> files = {{"/etc/vuk/cellular1.conf", CONFIG + gps},
                                     {"/run/poststart", ""}};
    if (isUsual(day)) return files;
    if (day == eDAY_WRONG_PUK)
        files.push_back({PUK_FILE, "11111111\n"});
    else
        files.push_back({PIN_FILE, "1234\n"});
    if (day == eDAY_WRONG_OLD_PIN || day == eDAY_WRONG_PUK)
        files.push_back({NEW_PIN_FILE, "5678\n"});
    if (day == eDAY_WRONG_PIN_OFF) files.push_back({NEW_PIN_FILE, "disable\n"});
    return files;
}

int openDescriptors() {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        (void)entry;
        ++count;
    }
    return count - 1;  // without the descriptor of the listing
}

bool isPublishedConnected() {
    return readFile(STATUS_FILE).find("_QMI_STATE=CONNECTED\n") != std::string::npos;
}

// Runs one day: its events, and when it is over.
class cDay {
  public:
    explicit cDay(const sCell& cell)
        : m_cell(cell), m_modem(scenarioOf(cell.day), AT_PATH, GPS_PATH) {
        g_S_options = {AT_PATH, GPS_PATH, "wwan0", "1"};
        m_modem.setLatency(cell.latencyMs);
        if (cell.faulty || cell.healthy) m_modem.plan(cell.plan);
        m_modem.onTurn([this] { takeTurn(); });
        onPowerCycle([this] { m_modem.powerCycle(3000); });
        for (const sGivenFile& file : filesOf(cell.day))
            give(file.path, file.text);
        if (cell.replayed) requestRecording(true);
    }
    ~cDay() { onPowerCycle(nullptr); }
    cDay(const cDay&) = delete;
    cDay& operator=(const cDay&) = delete;

    sOutcome run();
    // What passed on the ports, and what the daemon was given and asked.
    le910sim::sRecording recording() const;
    timespec wallStart() const { return m_modem.wallStart(); }

  private:
    void fail(const std::string& why) {
        if (m_outcome.failures.size() < 5) m_outcome.failures.push_back(why);
    }
    void end() {
        const bool isLast = !m_cell.whileEnding || m_endedOnce;
        if (m_cell.replayed ? isLast : !m_cell.faulty && m_outcome.published.empty())
            m_outcome.published = publishedState();
        askToEnd();
        m_modem.noteEnding();
        m_ended = true;
    }
    void note(json mark) {
        le910sim::sRecordedEvent event;
        event.ms = m_modem.nowMs();
        event.mark = std::move(mark);
        m_given.push_back(std::move(event));
    }
    void give(const std::string& path, const std::string& text) {
        writeFile(path, text);
        note({{"mark", "file"}, {"path", path}, {"text", text}});
    }
    void askToEnd() {
        b_got_sigterm = true;
        note({{"mark", "signal"}, {"name", "SIGTERM"}});
    }
    void takeTurn();
    void lookAtSession();
    bool isFaultAwaited() const;
    void runMessages();
    void runTroubles();
    void judgeUsual();
    void judgePin();
    void judgeInterjected();
    void judge();
    bool messagesDone() const;
    void makeTranscript();
    bool startAgain(int status);
    int runDaemon();

    // Whether an action is due: once, afterMs after sinceMs.
    bool isDue(size_t event, uint64_t sinceMs, uint64_t afterMs) {
        if (m_done.size() <= event) m_done.resize(event + 1);
        if (m_done[event] || m_modem.nowMs() < sinceMs + afterMs) return false;
        return m_done[event] = true;
    }

    const sCell& m_cell;
    cFaultyModem m_modem;
    sOutcome m_outcome;
    std::vector<bool> m_done;
    size_t m_looked = 0;         // how many of the sent commands were checked
    uint64_t m_connectedMs = 0;  // first time, 0 not yet
    int m_goodChecks = 0;        // good checks of the session since the fault and the last start
    uint64_t m_firstGoodMs = 0;
    uint64_t m_recoveredMs = 0;
    bool m_ended = false;
    bool m_endedOnce = false;
    std::vector<sRecordedRun> m_runs;
    std::vector<le910sim::sRecordedEvent> m_given;
};

void cDay::takeTurn() {
    lookAtSession();
    if (isUsual(m_cell.day))
        runMessages();
    else
        runTroubles();
    if (m_ended) return;
    if (isUsual(m_cell.day)) {
        if (isFaultAwaited() && !m_modem.faultBegan() && m_modem.nowMs() > TARGET_BY_MS) {
            fail("the command was never sent");
            end();
        }
        if (m_modem.nowMs() > GIVE_UP_MS) {
            fail("not CONNECTED again");
            end();
        }
        if (m_recoveredMs != 0 && messagesDone()) end();
    }
}

// A fault for the daemon's exit waits for the end of a healthy day.
bool cDay::isFaultAwaited() const {
    return m_cell.faulty && (!m_cell.whileEnding || m_endedOnce);
}

// A session counts once the daemon has found it good in enough passes to exclude an effect of the
// fault: after too many errors, four more passes end with a reset of the modem.
void cDay::lookAtSession() {
    constexpr int GOOD_CHECKS = 6;
    const std::vector<sSent>& sent = m_modem.sent();
    for (; m_looked < sent.size(); ++m_looked) {
        const sSent& one = sent[m_looked];
        if (one.command != "AT+CGPADDR=1" || one.faulty) continue;
        if (m_connectedMs == 0) m_connectedMs = m_modem.nowMs();
        if (isFaultAwaited() && !m_modem.isFaultOver()) continue;
        if (m_goodChecks++ == 0) m_firstGoodMs = m_modem.nowMs();
        if (m_recoveredMs != 0 || m_goodChecks < GOOD_CHECKS || !isPublishedConnected()) continue;
        m_recoveredMs = m_firstGoodMs;
        m_outcome.descriptors = openDescriptors();
    }
}

void cDay::runMessages() {
    if (m_connectedMs == 0) return;
    const auto inject = [this](json message) {
        message["op"] = "inject-sms";
        message["from"] = "+12025550123";
        m_modem.order(message);
    };
    if (isDue(0, m_connectedMs, 2000)) inject({{"text", "one part"}});
    if (isDue(1, m_connectedMs, 8000))
        for (const int part : {2, 1, 3})
            inject({{"text", "part " + std::to_string(part) + "."},
                    {"reference", 77},
                    {"part", part},
                    {"total", 3}});
    if (isDue(2, m_connectedMs, 14000))
        give("/tmp/sms/send/short", "TO=+12025550124\nMSG=short one\n");
    if (isDue(3, m_connectedMs, 20000))
        give("/tmp/sms/send/long", "TO=+12025550124\nMSG=" + std::string(300, 'x') + "\n");
}

// A healthy day runs to its end. One with a fault ends when the session is back; after a fault in
// the messages, all messages must also be complete.
bool cDay::messagesDone() const {
    constexpr uint64_t LAST_MS = 32000;
    constexpr uint64_t AFTER_FAULT_MS = 16000;
    const bool isMessage =
        startsWith(m_cell.plan.command, "AT+CM") || startsWith(m_cell.plan.command, "message");
    if (isFaultAwaited() && !isMessage) return true;
    return m_modem.nowMs() >= std::max(m_connectedMs + LAST_MS, m_recoveredMs + AFTER_FAULT_MS);
}

void cDay::runTroubles() {
    const eTrouble trouble = m_cell.trouble;
    const auto has = [&](eTrouble one) { return trouble == one || trouble == eALL_TROUBLE; };
    if (has(ePOWER_CYCLE) && isDue(0, 0, 15000)) m_modem.powerCycle(3000);
    if (has(eCARD_OUT) && isDue(1, 0, 25000))
        m_modem.order({{"op", "set"}, {"sim", {{"present", false}}}});
    if (has(eCARD_OUT) && isDue(2, 0, 32000))
        m_modem.order({{"op", "set"}, {"sim", {{"present", true}, {"verified", false}}}});
    if (has(ePORT_LOST) && m_modem.portsPresent() && isDue(3, 0, 42000))
        m_modem.order({{"op", "hangup"}, {"away_ms", 5000}});
    if (has(eRESTART) && isDue(4, 0, 60000)) askToEnd();
    if (has(ePOWER_CYCLE) && isDue(5, 0, 75000)) m_modem.powerCycle(3000);
    if (has(eRESTART) && isDue(6, 0, 85000)) askToEnd();
    // The right PIN, written again, unlocks the SIM if the fault left it locked.
    if (m_cell.day == eDAY_PIN && m_modem.nowMs() > 100000 &&
        isDue(7, m_modem.faultEndMs(), 5000)) {
        m_goodChecks = 0;
        m_recoveredMs = 0;
        give(PIN_FILE, "1234\n");
    }
    const bool over = m_recoveredMs != 0 || m_cell.day != eDAY_PIN;
    if (!m_ended && over && isDue(8, 0, 110000)) end();
    if (!m_ended && isDue(9, 0, 400000)) end();
}

// True if the daemon is to be started again, as a service manager would.
bool cDay::startAgain(int status) {
    m_outcome.statuses.push_back(status);
    const bool asked = b_got_sigterm;
    if (asked && status != STATUS_ENDED) fail("left with " + itos(status) + " when asked to end");
    if (m_cell.whileEnding && m_ended && !m_endedOnce) {
        m_endedOnce = true;
        m_ended = false;
        m_goodChecks = 0;
        m_recoveredMs = 0;
    }
    if (m_ended) return false;
    if (!asked && status != STATUS_RESET) fail("left with status " + itos(status));
    const int startsMax = m_cell.plan.lastsMs == 0 ? STARTS_MAX : STARTS_OF_LASTING_MAX;
    if (m_outcome.statuses.size() >= static_cast<size_t>(startsMax)) {
        fail("started " + itos(startsMax) + " times");
        return false;
    }
    for (uint64_t ms = 0; ms < RESTART_AFTER_MS; ms += 100)
        m_modem.pass(100000);
    resetDaemon();
    resetRecording();
    m_modem.noteStart();
    m_goodChecks = 0;
    return m_outcome.failures.empty();
}

void cDay::judgeUsual() {
    if (m_recoveredMs == 0) return;
    if (m_cell.faulty) m_outcome.recoveryMs = m_recoveredMs - m_modem.faultEndMs();
    if (!m_cell.faulty) m_outcome.recoveryMs = m_recoveredMs;
    if (m_cell.boundMs != 0 && m_outcome.recoveryMs > m_cell.boundMs)
        fail("CONNECTED again only after " + std::to_string(m_outcome.recoveryMs) + " ms, bound " +
             std::to_string(m_cell.boundMs));
    if (m_cell.descriptors != 0 && m_outcome.descriptors != m_cell.descriptors)
        fail("descriptors: " + itos(m_outcome.descriptors) + ", before " +
             itos(m_cell.descriptors));
}

void cDay::judgePin() {
    const int wrongPinsMax = m_cell.day == eDAY_PIN || m_cell.day == eDAY_WRONG_PUK ? 0 : 1;
    const int wrongPuksMax = m_cell.day == eDAY_WRONG_PUK ? 1 : 0;
    if (m_outcome.wrongPins > wrongPinsMax)
        fail("attempts with one wrong PIN: " + itos(m_outcome.wrongPins) + ", at most " +
             itos(wrongPinsMax));
    if (m_outcome.wrongPuks > wrongPuksMax)
        fail("attempts with a wrong PUK: " + itos(m_outcome.wrongPuks) + ", at most " +
             itos(wrongPuksMax));
    if (m_cell.day == eDAY_PIN && m_recoveredMs == 0)
        fail("not CONNECTED although the right PIN was written again");
}

void cDay::judge() {
    m_outcome.delayMs = m_modem.longestDelayMs();
    m_outcome.delayedAfter = printable(m_modem.delayedAfter(), 80);
    const uint64_t delayMax =
        isUsual(m_cell.day) ? PAUSE_MAX_MS : PAUSE_MAX_MS + MODEM_READY_MAX_MS;
    if (m_outcome.delayMs > delayMax)
        fail("a pause of " + std::to_string(m_outcome.delayMs) + " ms: " + m_outcome.delayedAfter);
    for (const auto& [pin, count] : m_modem.wrongPins())
        m_outcome.wrongPins = std::max(m_outcome.wrongPins, count);
    m_outcome.wrongPuks = m_modem.wrongPuks();
    for (const std::string& line : refusedCommandLines())
        fail("ran " + printable(line, 300));
    if (isUsual(m_cell.day))
        judgeUsual();
    else
        judgePin();
    if (m_cell.healthy) judgeInterjected();
}

// Expects the same commands in the same order and with the same pauses as on the healthy day, each
// answer read to its end before the next command, and the same published values at the end.
void cDay::judgeInterjected() {
    m_outcome.interjections = m_modem.interjections();
    if (m_outcome.interjections == 0) fail("nothing was interjected");
    for (const std::string& shift : m_modem.shifted())
        fail("shifted: " + printable(shift, 200));
    const sDifference difference = differenceOf(m_cell.healthy->sent, m_modem.sent());
    m_outcome.excessMs = difference.excessMs;
    for (const std::string& one : difference.failures)
        fail(printable(one, 300));
    if (m_outcome.published != m_cell.healthy->published)
        fail("published otherwise: " +
             firstDifference(m_cell.healthy->published, m_outcome.published));
}

void cDay::makeTranscript() {
    const char* const asked = getenv("MATRIX_TRANSCRIPT_LINES");
    const size_t LINES = asked != nullptr ? strtoul(asked, nullptr, 10) : 60;
    std::string text;
    const std::vector<sSent>& sent = m_modem.sent();
    size_t first = sent.size() > LINES ? sent.size() - LINES : 0;
    for (size_t i = 0; i < sent.size(); ++i)
        if (sent[i].faulty || !sent[i].arrived.empty()) {
            first = i > 5 ? i - 5 : 0;
            break;
        }
    for (size_t i = first; i < std::min(sent.size(), first + LINES); ++i) {
        const sSent& one = sent[i];
        text += "    " + std::to_string(one.timeMs) + " ms " +
                (one.port == eAT_PORT ? "" : "gps ") + printable(one.command, 80) + " -> " +
                printable(one.arrived.empty() ? one.body : one.arrived, 120) +
                (one.faulty            ? "   <= fault\n"
                 : one.arrived.empty() ? "\n"
                                       : "   <= unsolicited line\n");
    }
    const std::vector<std::string>& log = capturedLog();
    text += "  last of its log:\n";
    for (size_t i = log.size() > 25 ? log.size() - 25 : 0; i < log.size(); ++i)
        text += "    " + printable(log[i], 160) + "\n";
    m_outcome.transcript = text;
}

// Runs the daemon once.
int cDay::runDaemon() {
    b_got_sigterm = false;
    const uint64_t startMs = m_modem.nowMs();
    const int status = runStateMachine();
    if (m_cell.replayed) m_runs.push_back({startMs, takeRecording()});
    return status;
}

// Signals and configuration come at the moment when they were given, not when the daemon acted.
le910sim::sRecording cDay::recording() const {
    const auto isGiven = [](const le910sim::sRecordedEvent& event) {
        return event.kind == le910sim::eRECORDED_MARK &&
               (event.mark.at("mark") == "signal" || event.mark.at("mark") == "config");
    };
    le910sim::sRecording joined = joinedRuns(m_runs, m_cell.name);
    std::vector<le910sim::sRecordedEvent>& events = joined.events;
    events.erase(std::remove_if(events.begin(), events.end(), isGiven), events.end());
    events.insert(events.begin(), m_given.begin(), m_given.end());
    std::stable_sort(events.begin(), events.end(),
                     [](const auto& one, const auto& other) { return one.ms < other.ms; });
    return joined;
}

sOutcome cDay::run() {
    while (startAgain(runDaemon())) {
    }
    judge();
    makeTranscript();
    if (!m_cell.faulty && !m_cell.healthy) m_outcome.sent = m_modem.sent();
    return m_outcome;
}

// Another daemon on the recording of the day. What the day itself found is not the question.
void replayDay(const le910sim::sRecording& recording, const timespec& wallStart,
               sOutcome& outcome) {
    outcome.failures.clear();
    enterOwnFolders();
    resetDaemon();
    resetRecording();
    const sReplayedOutcome replayed = runReplayedDay(recording, &wallStart);
    const auto fail = [&](const std::string& why) { outcome.failures.push_back(why); };
    if (!replayed.isOver) fail("not replayed to its end");
    if (replayed.differences != 0)
        fail(std::to_string(replayed.differences) +
             " commands differ: " + replayed.firstDifference);
    if (replayed.published != outcome.published)
        fail("published otherwise: " + firstDifference(outcome.published, replayed.published));
    if (replayed.statuses != outcome.statuses) fail("other exit statuses");
}

}  // namespace

sOutcome runCell(const sCell& cell) {
    enterOwnFolders();
    resetDaemon();
    resetRecording();
    le910sim::sRecording recording;
    timespec wallStart{};
    sOutcome outcome;
    std::vector<std::string> commands;
    {
        cDay day(cell);
        outcome = day.run();
        if (!cell.replayed) return outcome;
        recording = day.recording();
        wallStart = day.wallStart();
    }
    replayDay(recording, wallStart, outcome);
    return outcome;
}

json toJson(const sOutcome& outcome) {
    json sent = json::array();
    for (const sSent& one : outcome.sent)
        sent.push_back({one.timeMs, static_cast<int>(one.port), one.command, one.body, one.ending});
    return {{"failures", outcome.failures},      {"statuses", outcome.statuses},
            {"recovery_ms", outcome.recoveryMs}, {"delay_ms", outcome.delayMs},
            {"after", outcome.delayedAfter},     {"descriptors", outcome.descriptors},
            {"wrong_pins", outcome.wrongPins},   {"wrong_puks", outcome.wrongPuks},
            {"transcript", outcome.transcript},  {"sent", sent},
            {"published", outcome.published},    {"interjections", outcome.interjections},
            {"excess_ms", outcome.excessMs}};
}

sOutcome outcomeFromJson(const json& json) {
    sOutcome outcome;
    json.at("failures").get_to(outcome.failures);
    json.at("statuses").get_to(outcome.statuses);
    json.at("recovery_ms").get_to(outcome.recoveryMs);
    json.at("delay_ms").get_to(outcome.delayMs);
    json.at("after").get_to(outcome.delayedAfter);
    json.at("descriptors").get_to(outcome.descriptors);
    json.at("wrong_pins").get_to(outcome.wrongPins);
    json.at("wrong_puks").get_to(outcome.wrongPuks);
    json.at("transcript").get_to(outcome.transcript);
    json.at("published").get_to(outcome.published);
    json.at("interjections").get_to(outcome.interjections);
    json.at("excess_ms").get_to(outcome.excessMs);
    for (const auto& one : json.at("sent")) {
        sSent sent;
        one.at(0).get_to(sent.timeMs);
        sent.port = one.at(1).get<int>() == 0 ? eAT_PORT : eGPS_PORT;
        one.at(2).get_to(sent.command);
        one.at(3).get_to(sent.body);
        one.at(4).get_to(sent.ending);
        outcome.sent.push_back(sent);
    }
    return outcome;
}
