#include "tests/replay/sessions.h"

#include <algorithm>
#include <stdexcept>

#include "include/options.h"
#include "include/signal_flags.h"
#include "le910sim/json_reader.h"
#include "platform/include/text_helpers.h"
#include "statemachine/state_machine.h"
#include "tests/matrix/faulty_modem.h"
#include "tests/matrix/host_tools.h"
#include "tests/replay/recorded_run.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/temp_folder.h"

namespace {

using nlohmann::json;

constexpr const char* AT_PATH = "/tmp/modem-at";
constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr uint64_t MS_PER_S = 1000;
constexpr uint64_t SECONDS_MAX = 24 * 3600;
constexpr int REPLY_MS = 60;
constexpr uint64_t RESTART_AFTER_MS = 5000;
constexpr uint64_t RESTART_STEP_MS = 100;
constexpr uint64_t AWAY_MS = 3000;  // after the host has reset the modem

const std::pair<const char*, const char*> CONFIG[] = {{"CM_ENABLE_INTERFACE", "yes"},
                                                      {"CM_APN", "internet"},
                                                      {"CM_GPS_ENABLE", "no"},
                                                      {"CM_SYNC_TIME", "no"}};

// The lines of a session's configuration, and those of CONFIG whose keys it does not have: of two
// lines with the same key the daemon takes the first.
std::string configOf(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    for (const auto& [key, value] : CONFIG) {
        const std::string start = std::string(key) + "=";
        const bool isGiven = std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return startsWith(line, start);
        });
        if (!isGiven) text += start + value + "\n";
    }
    return text;
}

sSession sessionOf(const json& object, const std::string& where) {
    le910sim::cJsonReader reader(object, where);
    sSession session;
    session.name = reader.requiredText("name");
    session.about = reader.requiredText("about");
    reader.readInt("seconds", session.seconds, 1, static_cast<int64_t>(SECONDS_MAX));
    reader.read("config", session.config);
    reader.read("expect", session.expect);
    const json* const scenario = reader.value("scenario");
    session.scenario = scenario != nullptr ? *scenario : json::object();
    // As a real modem; also makes a session a lot shorter than one with a modem that needs no time.
    if (!session.scenario.contains("timings")) session.scenario["timings"] = json::object();
    if (!session.scenario["timings"].contains("reply_ms"))
        session.scenario["timings"]["reply_ms"] = REPLY_MS;
    const json* const files = reader.value("files");
    if (files != nullptr)
        for (const json& file : *files)
            session.files.push_back({static_cast<uint64_t>(file.value("at", 0.0) * MS_PER_S),
                                     file.at("path"), file.at("text")});
    reader.finish();
    return session;
}

// The marks of the files that the session gives, at their times.
std::string withFiles(le910sim::sRecording read, const sSession& session) {
    for (const sSessionFile& file : session.files) {
        le910sim::sRecordedEvent event;
        event.ms = file.ms;
        event.mark = {{"mark", "file"}, {"path", file.path}, {"text", file.text}};
        const auto later = [](uint64_t ms, const le910sim::sRecordedEvent& other) {
            return ms < other.ms;
        };
        read.events.insert(
            file.ms == 0 ? read.events.begin()
                         : std::upper_bound(read.events.begin(), read.events.end(), file.ms, later),
            event);
    }
    nlohmann::ordered_json header = {{"recording", 1},
                                     {"program", read.header.at("program")},
                                     {"slot", 1},
                                     {"began", "2026-11-22T09:00:00Z"},
                                     {"identities", "replaced"},
                                     {"made", session.about}};
    std::string text = header.dump() + "\n";
    for (const le910sim::sRecordedEvent& event : read.events)
        text += recordedLine(event);
    return text;
}

// The daemon in its session.
class cSessionRun {
  public:
    explicit cSessionRun(const sSession& session)
        : m_session(session), m_modem(session.scenario, AT_PATH, GPS_PATH) {
        g_S_options = {AT_PATH, GPS_PATH, "wwan0", "1"};
        writeFile("/etc/vuk/cellular1.conf", configOf(session.config));
        writeFile("/run/poststart", "");
        writeDueFiles();
        onPowerCycle([this] { m_modem.powerCycle(AWAY_MS); });
        m_modem.onTurn([this] {
            writeDueFiles();
            if (m_modem.nowMs() < m_session.seconds * MS_PER_S || m_isOver) return;
            noteUnmetFault();
            // Between two starts of the daemon there is nothing to take.
            if (m_isRunning) takeRun();
            b_got_sigterm = m_isOver = true;
        });
    }
    ~cSessionRun() { onPowerCycle(nullptr); }
    cSessionRun(const cSessionRun&) = delete;
    cSessionRun& operator=(const cSessionRun&) = delete;

    std::string run() {
        requestRecording(false);
        while (runOnce() && startAgain()) {
        }
        if (!m_modem.problems().empty())
            throw std::runtime_error(m_session.name + ": " + m_modem.problems()[0]);
        if (!m_unmetFault.empty())
            throw std::runtime_error(m_session.name + ": no command meets " + m_unmetFault);
        le910sim::sRecording recording = joinedRuns(m_runs, m_session.name);
        le910sim::sRecordedEvent stop;
        stop.ms = m_session.seconds * MS_PER_S;
        stop.mark = {{"mark", "stop"}, {"reason", "asked"}};
        recording.events.push_back(stop);
        return withFiles(recording, m_session);
    }

  private:
    // A fault that no command met shows nothing.
    void noteUnmetFault() {
        const json state = m_modem.order({{"op", "dump"}}).at("state");
        for (const json& fault : state.at("faults"))
            if (fault.at("hits") == 0) m_unmetFault = fault.dump();
    }
    // True if the daemon ended by itself.
    bool runOnce() {
        m_startMs = m_modem.nowMs();
        m_isRunning = true;
        runStateMachine();
        m_isRunning = false;
        if (!m_isOver) takeRun();
        return !m_isOver;
    }
    void takeRun() {
        m_runs.push_back({m_startMs, takeRecording()});
        if (m_runs.back().text.empty()) throw std::runtime_error(m_session.name + ": no recording");
    }
    // As a service manager does, unless the session is over meanwhile.
    bool startAgain() {
        for (uint64_t ms = 0; ms < RESTART_AFTER_MS; ms += RESTART_STEP_MS)
            m_modem.pass(RESTART_STEP_MS * 1000);
        resetDaemon();
        resetRecording();
        return !m_isOver;
    }
    void writeDueFiles() {
        for (; m_next < m_session.files.size(); ++m_next) {
            const sSessionFile& file = m_session.files[m_next];
            if (file.ms > m_modem.nowMs()) return;
            writeFile(file.path, file.text);
        }
    }

    const sSession& m_session;
    cFaultyModem m_modem;
    size_t m_next = 0;  // file
    uint64_t m_startMs = 0;
    std::vector<sRecordedRun> m_runs;
    bool m_isOver = false;
    bool m_isRunning = false;
    std::string m_unmetFault;
};

}  // namespace

std::vector<sSession> readSessions(const std::string& path) {
    const json list = json::parse(readFile(path));
    std::vector<sSession> sessions;
    for (const json& object : list)
        sessions.push_back(sessionOf(object, path + ": " + object.value("name", "a session")));
    return sessions;
}

std::string recordSession(const sSession& session) {
    resetDaemon();
    resetRecording();
    return cSessionRun(session).run();
}
