#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "platform/include/key_value_store.h"
#include "platform/include/text_helpers.h"
#include "statemachine/state_machine.h"
#include "tests/support/captured_log.h"
#include "tests/support/daemon_reset.h"
#include "tests/support/whole_daemon.h"

// Random days of the whole daemon: outages, restarts of daemon and host, missing, late and refusing
// answers, rewritten files and exchanged SIMs. A judge that sees only the modem's side counts the
// attempts that each writing of the PIN file may cost.

namespace {

constexpr const char* PIN_FILE = "/etc/vuk/cellular_cpin.1";
constexpr const char* PIN_COMMAND = "AT+CPIN=";
constexpr const char* PIN_QUERY = "AT+CPIN?;#PCT";
constexpr const char* PIN_TIME_OUT = "Error: Unable to unlock SIM PIN, command time out";

enum eAnswer { eHONEST, eLOST, eUNHEARD, eLATE, eERROR, eBUSY, eANSWERS };

// What the judge knows about the current writing of the file.
struct sWriting {
    std::string pin;
    int sendings = 0;
    int unanswered = 0;  // attempts without an answer since the PIN was last known to be good
    int wrongTries = 0;  // wrong attempts on this SIM
    bool isRefused = false;
    bool isWayBack = true;         // an outage or a restart since the PIN was sent
    int attempts = -1;             // reported before it was sent, or when it was last good
    int readyAttempts = -1;        // the most since then that a ready SIM reported: not each query
                                   // is a check of the SIM
    bool isOfEarlierHost = false;  // and the store is empty
};

class PinDays : public cWholeDaemon {
  protected:
    void SetUp() override {
        cWholeDaemon::SetUp();
        onEachTurn([this] { judgeExchanges(); });
    }

    // A day of several runs.
    void live(unsigned seed);

  private:
    int any(int below) { return static_cast<int>(m_random() % static_cast<unsigned>(below)); }
    double nowS() { return static_cast<double>(simulatedPort().nowMs()) / 1000; }
    void setSim(const nlohmann::json& values) { order({{"op", "set"}, {"sim", values}}); }
    int attemptsLeft() {
        return simulatedPort().modem().control({{"op", "dump"}})["state"]["sim"]["pin_attempts"];
    }

    void writePin(const std::string& pin) {
        usleep(12000);  // the file system's clock ticks
        writeFile(PIN_FILE, pin + "\n");
        m_file = {};
        m_file.pin = pin;
    }
    void happen();
    void arrangeAnswer();
    void startHost();
    void judgeExchanges();
    void judgeSwallowed();
    void judgeQuery(const std::string& reply);
    void judgeSending(const std::string& pin);
    void noteSending();
    void noteAnswer(const std::string& pin);
    void judgeEnd();

    std::mt19937 m_random;
    sWriting m_file;
    std::string m_simPin = "1234";
    std::string m_story;
    eAnswer m_answer = eHONEST;
    int m_answersLeft = 0;
    size_t m_judged = 0;
    size_t m_timeOuts = 0;
    bool m_isHeard = false;  // the modem has received the PIN since the last query
    int m_reported = -1;     // attempts reported by the last query
    int m_readyQueries = 0;
    bool m_isReady = false;
};

void PinDays::arrangeAnswer() {
    order({{"op", "clear-faults"}});
    m_answer = static_cast<eAnswer>(any(eANSWERS));
    m_answersLeft = 1 + any(4);
    nlohmann::json fault = {{"op", "fault"}, {"prefix", PIN_COMMAND}, {"count", m_answersLeft}};
    switch (m_answer) {
        case eHONEST:
        case eANSWERS:
            return;
        case eLOST:
        case eUNHEARD:
            fault["kind"] = "silence";
            fault["execute"] = m_answer == eUNHEARD;
            break;
        case eLATE:
            fault["kind"] = "delay";
            fault["delay_ms"] = 2500;
            break;
        case eERROR:
            fault["kind"] = "error";
            break;
        case eBUSY:
            fault["kind"] = "cme";
            fault["number"] = 14;
            break;
    }
    order(fault);
}

// An event while the daemon runs.
void PinDays::happen() {
    const bool isRight = m_file.pin == m_simPin;
    switch (any(8)) {
        case 0:
        case 1:
            m_story += " restart";
            order({{"op", "restart"}, {"away_ms", 2000}});
            m_file.isWayBack = true;
            break;
        case 2:
            m_story += " hangup";
            order({{"op", "hangup"}, {"away_ms", 2000}});
            m_file.isWayBack = true;
            break;
        case 3:
            m_story += " lock";
            setSim({{"verified", false}});
            break;
        case 4:
            m_story += " answer";
            arrangeAnswer();
            m_story += itos(m_answer);
            break;
        case 5:
            // Each SIM can spare the attempt of one wrong file.
            if (attemptsLeft() == 3 && any(2) == 0) {
                m_story += " wrong";
                writePin("9999");
            } else {
                m_story += " right";
                writePin(m_simPin);
            }
            break;
        case 6:
            m_story += " exchange";
            m_simPin = m_simPin == "1234" ? "5678" : "1234";
            setSim({{"pin", m_simPin}, {"verified", false}, {"pin_attempts", 3}});
            m_file.wrongTries = 0;
            break;
        case 7:
            if (!isRight || attemptsLeft() < 3) break;
            m_story += " lost";
            setSim({{"pin_attempts", 2}});
            break;
        default:
            break;
    }
}

void PinDays::startHost() {
    std::filesystem::remove_all("/run/cellslot");
    setKeyValueStorePath("/run/cellslot/skvs");
    const timespec times[2] = {{1000, any(1000)}, {1000, any(1000)}};
    utimensat(AT_FDCWD, PIN_FILE, times, 0);
    const int wrongTries = m_file.wrongTries;
    m_file = {};
    m_file.pin = cleanWhiteSpace(readFile(PIN_FILE));
    m_file.wrongTries = wrongTries;
    m_file.isOfEarlierHost = true;
}

void PinDays::judgeQuery(const std::string& reply) {
    m_isHeard = false;
    const std::string attempts = cleanWhiteSpace(findNeedleString(reply, "#PCT:", "\r"));
    m_reported = isStringNumeric(attempts) ? textToInt(attempts) : -1;
    m_isReady = reply.find("READY") != std::string::npos;
    m_readyQueries = m_isReady ? m_readyQueries + 1 : 0;
    if (m_isReady) m_file.readyAttempts = std::max(m_file.readyAttempts, m_reported);
    // At least one of three queries in a row belonged to a check of the SIM.
    if (m_readyQueries < 3 || m_file.sendings == 0 || m_file.isRefused) return;
    m_file.unanswered = 0;
    if (m_reported != -1) m_file.attempts = m_reported;
}

void PinDays::judgeSending(const std::string& pin) {
    ASSERT_EQ(pin, m_file.pin);
    ASSERT_FALSE(m_file.isRefused) << "sent again after a refusal";
    ASSERT_LT(m_file.unanswered, 2) << "sent a third time without an answer";
    ASSERT_TRUE(m_file.isWayBack) << "sent again without an outage or a start";
    const bool isFirst = m_file.sendings == 0;
    ASSERT_TRUE(isFirst || m_reported == -1 || m_reported >= m_file.attempts)
        << m_reported << " attempts left, had " << m_file.attempts;
    ASSERT_FALSE(m_file.isOfEarlierHost && m_reported == 1) << "the last attempt";
    m_file.isOfEarlierHost = false;
}

void PinDays::noteSending() {
    ++m_file.sendings;
    if (m_reported != -1 || m_file.sendings == 1) m_file.attempts = m_reported;
    m_file.readyAttempts = -1;
    m_file.isWayBack = false;
    m_readyQueries = 0;
    ++m_file.unanswered;
}

// A PIN that was on its way when the port hung up reached no modem. The daemon cannot know that: it
// counts as sent. Only the log shows it.
void PinDays::judgeSwallowed() {
    const size_t timeOuts = logCount(PIN_TIME_OUT);
    if (timeOuts == m_timeOuts) return;
    m_timeOuts = timeOuts;
    if (m_isHeard) return;
    m_story += " [swallowed]";
    if (!HasFatalFailure()) judgeSending(m_file.pin);
    noteSending();
    m_file.isWayBack = true;  // that hang-up
}

void PinDays::noteAnswer(const std::string& pin) {
    const bool isSeen = m_answer == eHONEST || m_answer == eUNHEARD || m_answer == eLATE;
    const bool isWrong = pin != m_simPin;
    m_isHeard = true;
    noteSending();
    if (isWrong && isSeen) ++m_file.wrongTries;
    if (m_answer == eHONEST && !isWrong) m_file.unanswered = 0;
    m_file.isRefused = m_answer == eERROR || m_answer == eBUSY || (m_answer == eHONEST && isWrong);
    if (--m_answersLeft <= 0) m_answer = eHONEST;
}

void PinDays::judgeExchanges() {
    judgeSwallowed();
    const std::vector<le910sim::sExchange>& all = simulatedPort().modem().exchanges();
    for (; m_judged < all.size(); ++m_judged) {
        const le910sim::sExchange& exchange = all[m_judged];
        if (exchange.command == PIN_QUERY) judgeQuery(exchange.reply);
        if (!startsWith(exchange.command, PIN_COMMAND)) continue;
        const std::string pin = exchange.command.substr(std::string(PIN_COMMAND).size());
        m_story += " [" + pin + "]";
        if (!HasFatalFailure()) judgeSending(pin);
        noteAnswer(pin);
    }
}

// The right PIN unlocks the SIM if the rule allows it, and always after it is written again.
void PinDays::judgeEnd() {
    order({{"op", "clear-faults"}});
    m_answer = eHONEST;
    const int had = std::max(m_file.attempts, m_file.readyAttempts);
    const bool isLower = m_file.sendings > 0 && m_reported != -1 && m_reported < had;
    const bool isLast = m_file.isOfEarlierHost && m_reported == 1;
    const bool isAllowed =
        m_file.pin == m_simPin && !m_file.isRefused && m_file.unanswered < 2 && !isLower && !isLast;
    m_story += " | end";
    m_file.isWayBack = true;
    resetDaemon();
    run(nowS() + 15);
    if (isAllowed) {
        EXPECT_TRUE(m_isReady) << "a right PIN that may be sent";
    }
    m_story += " | anew";
    at(nowS() + 1, [this] { writePin(m_simPin); });
    m_file.isWayBack = true;
    resetDaemon();
    run(nowS() + 25);
    EXPECT_TRUE(m_isReady) << "the right PIN, written anew";
}

void PinDays::live(unsigned seed) {
    m_random.seed(seed);
    const char* const reports[] = {"", "", "none", "10"};
    nlohmann::json sim = {{"pin", m_simPin}, {"lock", true}, {"pct_text", reports[any(4)]}};
    startOnTerminal({{"sim", sim}});
    m_story = "pct '" + sim["pct_text"].get<std::string>() + "'";
    writePin(any(3) == 0 ? "9999" : m_simPin);
    const int runs = 3 + any(3);
    for (int i = 0; i < runs && !HasFailure(); ++i) {
        m_story += " | run";
        if (i == 0 || any(3) == 0) arrangeAnswer();
        m_story += itos(m_answer);
        const double length = 6 + any(16);
        const double start = nowS();
        for (int events = any(4); events > 0; --events)
            at(start + any(static_cast<int>(length * 10)) / 10.0, [this] { happen(); });
        run(start + length);
        judgeExchanges();
        ASSERT_LE(m_file.wrongTries, 2);
        ASSERT_GT(attemptsLeft(), 0) << "one wrong file has blocked the SIM";
        m_file.isWayBack = true;
        // If the SIM does not report attempts, nothing stops an unanswered PIN over many such
        // starts.
        const bool isSafe = m_file.wrongTries == 0 || (m_reported != -1 && m_reported <= 3);
        if (any(5) == 0 && isSafe) {
            m_story += " host";
            startHost();
        }
        resetDaemon();
    }
    if (!HasFailure()) judgeEnd();
    if (HasFailure()) printf("seed %u: %s\n", seed, m_story.c_str());
}

constexpr unsigned SHORT_RUN_SEED = 1000;

unsigned firstSeed() {
    const char* const given = getenv("CELLSLOT_SEED");
    if (given != nullptr) return static_cast<unsigned>(textToLong(given));
    // New days are drawn in the long run only: what they find must not hold up a change of
    // something else.
    return getenv("CELLSLOT_TEST_ALL") != nullptr ? std::random_device()() : SHORT_RUN_SEED;
}

}  // namespace

class PinDay : public PinDays, public ::testing::WithParamInterface<int> {};

TEST_P(PinDay, AtRandom_CostsNoAttemptThatTheRuleForbidsAndEndsWithTheRightPin) {
    static const unsigned SEED = firstSeed();
    const unsigned seed = SEED + static_cast<unsigned>(GetParam());
    printf("CELLSLOT_SEED=%u\n", seed);
    live(seed);
}

INSTANTIATE_TEST_SUITE_P(Each, PinDay,
                         ::testing::Range(0, getenv("CELLSLOT_TEST_ALL") != nullptr ? 100 : 12));
