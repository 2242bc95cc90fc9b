#include "tests/replay/replayed_day.h"

#include <algorithm>

#include "include/options.h"
#include "include/signal_flags.h"
#include "platform/include/text_helpers.h"
#include "platform/include/tokenstr.h"
#include "statemachine/state_machine.h"
#include "tests/matrix/host_tools.h"
#include "tests/replay/replayed_modem.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/published_state.h"
#include "tests/support/temp_folder.h"

namespace {

using le910sim::sRecordedEvent;
using le910sim::sRecording;
using nlohmann::json;

constexpr const char* AT_PATH = "/tmp/modem-at";
constexpr const char* GPS_PATH = "/tmp/modem-gps";
constexpr const char* CONFIG_FILE = "/etc/vuk/cellular1.conf";
constexpr const char* PIN_FILE = "/etc/vuk/cellular_cpin.1";
constexpr const char* NEW_PIN_FILE = "/etc/vuk/cellular_cpin_new.1";
constexpr const char* PUK_FILE = "/etc/vuk/cellular_puk.1";

constexpr uint64_t RESTART_AFTER_MS = 5000;  // as a service manager does
constexpr size_t STARTS_MAX = 10;
// The daemon may be behind the recording for so long before the replay is given up.
constexpr uint64_t PATIENCE_MS = 180000;

struct sSignalRow {
    const char* name;
    volatile std::sig_atomic_t* flag;
    bool ends;
};

const sSignalRow SIGNALS[] = {
    {"SIGINT", &b_got_sigint, true},    {"SIGTERM", &b_got_sigterm, true},
    {"SIGHUP", &b_got_sighup, true},    {"SIGUSR1", &b_got_sigusr1, false},
    {"SIGUSR2", &b_got_sigusr2, false},
};

// A boolean or a number of a made recording is a text too.
std::string textOf(const json& value) {
    return value.is_string() ? value.get<std::string>() : value.dump();
}

// What the commands of a recording say about the secrets that the daemon had.
struct sSecrets {
    std::string pin;
    std::string puk;
    std::string user;
    std::string password;
};

sSecrets secretsOf(const sRecording& recording) {
    sSecrets secrets;
    const auto ports = le910sim::replaySteps(recording);
    for (const le910sim::sReplayStep& step : ports[le910sim::ePORT_AT].steps) {
        if (step.kind != le910sim::eSTEP_COMMAND) continue;
        const size_t equals = step.text.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = step.text.substr(0, equals);
        const tokenstr fields(cleanCharsFromString(step.text.substr(equals + 1), "\""), ',',
                              eEmptyTokens::KEEP);
        if (name == "AT+CPIN" && fields.size() == 1) secrets.pin = fields[0];
        if (name == "AT+CPIN" && fields.size() == 2) secrets.puk = fields[0];
        if (name == "AT#PDPAUTH" && fields.size() == 4) {
            secrets.user = fields[2];
            secrets.password = fields[3];
        }
    }
    return secrets;
}

bool isMark(const sRecordedEvent& event, const char* name) {
    return event.kind == le910sim::eRECORDED_MARK && event.mark.at("mark") == name;
}

bool hasFiles(const sRecording& recording) {
    return std::any_of(recording.events.begin(), recording.events.end(),
                       [](const sRecordedEvent& event) { return isMark(event, "file"); });
}

tHostResults hostResultsOf(const sRecording& recording) {
    tHostResults results;
    for (const sRecordedEvent& event : recording.events)
        if (isMark(event, "host"))
            results.emplace_back(event.mark.value("command", ""), event.mark.value("result", 0));
    return results;
}

class cReplayedDay {
  public:
    cReplayedDay(const sRecording& recording, const timespec* wallStart)
        : m_recording(recording),
          m_secrets(secretsOf(recording)),
          m_modem(recording, AT_PATH, GPS_PATH) {
        if (wallStart != nullptr) m_modem.setWallStart(*wallStart);
        g_S_options = {AT_PATH, GPS_PATH, "wwan0", "1"};
        writeFile("/run/poststart", "");
        writeSecrets();
        setHostResults(hostResultsOf(recording));
        m_modem.onTurn([this] { takeTurn(); });
    }

    sReplayedOutcome run() {
        takeMarks(true);
        do {
            for (const sSignalRow& row : SIGNALS)
                *row.flag = false;
        } while (startAgain(runStateMachine()));
        if (m_isEndRecorded || !m_ended) compare();
        return m_outcome;
    }

  private:
    // A made recording says which files the daemon was given, and when.
    void writeSecrets() const {
        if (hasFiles(m_recording)) return;
        if (!m_secrets.pin.empty()) writeFile(PIN_FILE, m_secrets.pin + "\n");
        if (m_secrets.puk.empty()) return;
        writeFile(PUK_FILE, m_secrets.puk + "\n");
        writeFile(NEW_PIN_FILE, "0000\n");
    }

    void takeTurn() {
        if (m_ended) return;
        takeMarks(false);
        const uint64_t nowMs = m_modem.nowMs();
        const uint64_t endMs = m_modem.replay().replayedMs(m_recording.endMs());
        // What the daemon did at the moment of the last line comes after this turn.
        const bool over = m_modem.replay().isOver() && nowMs >= endMs + (m_isStopped ? 0 : 1);
        if (over || nowMs > endMs + PATIENCE_MS) end(&b_got_sigterm);
    }

    // What the daemon is given at its start comes before its first look.
    void takeMarks(bool atStart) {
        const std::vector<sRecordedEvent>& events = m_recording.events;
        for (; m_next < events.size(); ++m_next) {
            const sRecordedEvent& event = events[m_next];
            if (event.kind != le910sim::eRECORDED_MARK) {
                // Marks before an exchange do not wait for it.
                if (atStart) return;
                continue;
            }
            if (!atStart && m_modem.nowMs() < m_modem.replay().replayedMs(event.ms)) return;
            takeMark(event.mark);
        }
    }

    void takeMark(const json& mark) {
        const std::string name = mark.at("mark").get<std::string>();
        if (name == "config") writeConfig(mark.value("values", json::object()));
        if (name == "stop") m_isStopped = true;
        if (name == "file") writeFile(mark.at("path"), mark.at("text"));
        if (name != "signal") return;
        for (const sSignalRow& row : SIGNALS) {
            if (mark.value("name", "") != row.name) continue;
            *row.flag = true;
            if (!row.ends || isStartedAgain()) continue;
            m_isEndRecorded = true;
            end(row.flag);
        }
    }

    // After the mark that is being taken.
    bool isStartedAgain() const {
        return std::any_of(m_recording.events.begin() + static_cast<std::ptrdiff_t>(m_next),
                           m_recording.events.end(),
                           [](const sRecordedEvent& event) { return isMark(event, "start"); });
    }

    void writeConfig(const json& values) {
        std::string text;
        for (const auto& item : values.items())
            text += item.key() + "=" + textOf(item.value()) + "\n";
        if (!m_secrets.user.empty() && !values.contains("CM_USERNAME"))
            text += "CM_USERNAME=" + m_secrets.user + "\nCM_PASSWORD=" + m_secrets.password + "\n";
        if (text != readFile(CONFIG_FILE)) writeFile(CONFIG_FILE, text);
    }

    void compare() {
        m_outcome.commands = m_modem.replay().commands();
        m_outcome.differences = m_modem.replay().differences();
        m_outcome.firstDifference = m_modem.replay().firstDifference();
        m_outcome.unknown = m_modem.replay().unknown();
        m_outcome.isOver = m_modem.replay().isOver();
        m_outcome.lastedMs = m_modem.nowMs();
    }

    void end(volatile std::sig_atomic_t* flag) {
        if (m_ended) return;
        m_outcome.published = publishedState();
        compare();
        *flag = true;
        m_ended = true;
    }

    bool startAgain(int status) {
        m_outcome.statuses.push_back(status);
        if (m_ended || m_outcome.statuses.size() >= STARTS_MAX) return false;
        for (uint64_t ms = 0; ms < RESTART_AFTER_MS; ms += 100)
            m_modem.pass(100000);
        resetDaemon();
        return !m_ended;
    }

    const sRecording& m_recording;
    sSecrets m_secrets;
    cReplayedModem m_modem;
    size_t m_next = 0;             // event
    bool m_isStopped = false;      // the recording ends with its own mark
    bool m_isEndRecorded = false;  // the daemon was asked to end while it was recorded
    bool m_ended = false;
    sReplayedOutcome m_outcome;
};

}  // namespace

sReplayedOutcome runReplayedDay(const sRecording& recording, const timespec* wallStart) {
    return cReplayedDay(recording, wallStart).run();
}
