#include "agent/service.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "agent/agent.h"
#include "agent/agent_state.h"
#include "agent/agent_store.h"
#include "agent/change_watch.h"
#include "agent/host_clock.h"
#include "agent/root_link.h"
#include "agent/working_memory.h"
#include "cli/base/end_signals.h"
#include "cli/base/failure.h"
#include "include/service_manager.h"
#include "mqtt/broker_link.h"
#include "mqtt/topics.h"
#include "platform/files/file_descriptor.h"
#include "published/slot.h"

namespace {

// The broker gets so long to take the last words.
constexpr int64_t LAST_WORDS_MS = 3000;
// After something has changed; the messages that follow it have been sent then.
constexpr int64_t SETTLED_MS = 30'000;
constexpr int CONFIG_LOOK_S = 60;
constexpr int ALIVE_EVERY_S = 20;

void log(const std::string& line) {
    fprintf(stderr, "%s\n", line.c_str());
}

int64_t monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

// Goes on while the host sleeps.
long long runningS() {
    timespec run{};
    clock_gettime(CLOCK_BOOTTIME, &run);
    return run.tv_sec;
}

// Puts agent, broker and the service that works as root together.
class cService final : public iBroker {
  public:
    cService(const sPlaces& places, const sAgentConfig& config, cAgentStore& store)
        : m_places(places),
          m_store(store),
          m_agent(places, config, store, *this, log),
          m_link(config.broker,
                 {config.gateway, true, topicText({config.gateway, eTopic::AVAILABILITY, 0})},
                 {[this](bool isSessionPresent) { noteUp(isSessionPresent); },
                  [this](const std::string& why) { noteDown(why); },
                  [this](const sIncomingMessage& message) {
                      m_agent.message(message.topic, message.payload, message.isRetained,
                                      readClock());
                  },
                  [this](int messageId) { noteAcknowledged(messageId); },
                  [this](int, bool isGranted) { m_agent.subscribed(isGranted, readClock()); },
                  [this] { return m_agent.lastWill(readClock()); }},
                 places),
          m_sendsMessages(config.sendsMessages) {
        m_state.gateway = config.gateway;
    }

    bool isUp() const override { return m_link.isUp(); }
    int publish(const std::string& topic, const std::string& text, bool isRetained) override {
        return m_link.publish(topic, text, isRetained);
    }
    int subscribe(const std::string& topic) override { return m_link.subscribe(topic); }
    void goOn() override { m_link.goOn(); }

    void run(const std::string& note, int signals) {
        m_agent.start(note, readClock());
        noteState();
        notifyReady();
        while (!waitForWork(signals)) {
            m_link.turn(m_events[BROKER].revents, monotonicMs());
            workAsRoot();
            const long long nextS = m_agent.work(readClock());
            startCommand();
            followChange();
            fetchMessages();
            noteState();
            tidy();
            m_dueMs = monotonicMs() + nextS * 1000;
            notifyAlive();
        }
        notifyStopping();
        sayGoodbye();
    }

  private:
    sAgentClock readClock() const {
        const time_t wall = time(nullptr);
        const long long runS = runningS();
        return {wall, runS, isClockSure(m_places, wall, runS)};
    }

    enum { SIGNALS, BROKER, ROOT, CONFIRMATION, MESSAGES, EVENTS };

    // Whether a signal asks for the end.
    bool waitForWork(int signals) {
        m_events[SIGNALS] = {signals, POLLIN, 0};
        m_events[BROKER] = {m_link.fd(), m_link.events(), 0};
        m_events[ROOT] = {m_root.fd(), m_root.events(), 0};
        m_events[CONFIRMATION] = {m_confirmation.fd(), m_confirmation.events(), 0};
        m_events[MESSAGES] = {m_messages.fd(), m_messages.events(), 0};
        const int64_t waitMs = std::min(m_dueMs, m_link.dueMs()) - monotonicMs();
        // Rounded up: a timer that wakes early would wake again and again.
        const int count =
            poll(m_events, EVENTS,
                 static_cast<int>(std::clamp<int64_t>(waitMs + 1, 0, cAgent::LOOK_S * 1000)));
        return count > 0 && m_events[SIGNALS].revents != 0;
    }

    void noteUp(bool isSessionPresent) {
        log("connected to " + m_link.broker());
        m_lastWhy.clear();
        m_state.isConnected = true;
        m_state.since = time(nullptr);
        m_change.noteUp();
        // A connection that was renewed has ended without a word.
        m_agent.down();
        m_agent.up(isSessionPresent, readClock());
    }

    void noteDown(const std::string& why) {
        // While a broker is away, each attempt fails in the same way.
        if (why != m_lastWhy) log(why);
        m_lastWhy = why;
        if (m_state.isConnected || m_state.since == 0) m_state.since = time(nullptr);
        m_state.isConnected = false;
        m_state.error = why;
        m_state.errorAt = time(nullptr);
        m_agent.down();
    }

    void tidy() {
        if (m_tidyMs == 0 || monotonicMs() < m_tidyMs) return;
        m_tidyMs = 0;
        giveBackMemory();
    }

    // Only what has changed is written.
    void noteState() {
        m_state.pid = getpid();
        m_state.broker = m_link.broker();
        m_state.waiting = static_cast<long long>(m_store.waiting());
        m_state.stream = m_store.stream();
        m_state.writes = m_store.commits();
        const std::string text = agentStateJson(m_state);
        if (text == m_published) return;
        m_published = text;
        // Not later for each further change: a modem that goes on changing would put it off for
        // ever.
        if (m_tidyMs == 0) m_tidyMs = monotonicMs() + SETTLED_MS;
        publishAgentState(m_places, m_state);
    }

    void noteAcknowledged(int messageId) {
        m_change.noteAnswered();
        m_agent.acknowledged(messageId);
    }

    void startCommand() {
        if (m_root.isOpen()) return;
        const std::optional<sCommand> command = m_agent.desk().start(readClock());
        if (!command) return;
        m_command = *command;
        std::string error;
        if (m_root.start(m_places, std::string(REQUEST_EXECUTE) + " " + commandText(m_command),
                         runningS(), error))
            return;
        m_agent.desk().end(m_command, {eResult::FAILED, error, {}, "", false}, readClock());
        m_agent.settle();
    }

    void workAsRoot() {
        if (!m_root.isOpen() || !m_root.turn(runningS())) return;
        const sRootAnswer answer = m_root.takeAnswer();
        if (answer.isBegun)
            m_agent.desk().noteChanging(m_command, readClock());
        else
            m_agent.desk().end(m_command, answer.outcome, readClock());
        m_agent.settle();
    }

    void followChange() {
        if (m_confirmation.isOpen() && m_confirmation.turn(runningS())) {
            const sOutcome outcome = m_confirmation.takeAnswer().outcome;
            m_change.noteConfirmed(outcome.status == eResult::DONE);
            if (outcome.status != eResult::DONE) log("not confirmed: " + outcome.text);
        }
        const std::optional<sCommand> command = m_agent.desk().changing();
        if (!command || m_confirmation.isOpen()) return;
        using eNeed = cChangeWatch::eNeed;
        switch (m_change.look(m_places, *command,
                              m_agent.report(command->slot.value_or(FIRST_SLOT)), runningS())) {
            case eNeed::NOTHING:
                return;
            case eNeed::SAY_STARTED:
                m_agent.desk().noteStarted(*command, readClock());
                m_change.noteStarted();
                return m_agent.settle();
            case eNeed::RENEW:
                log("the daemon has set up its modem with the new file; making a new connection");
                m_link.renew();
                return m_change.noteRenewed();
            case eNeed::CONFIRM:
                return askToConfirm(command->id);
            case eNeed::END:
                m_agent.desk().end(*command, m_change.outcome(), readClock());
                return m_agent.settle();
        }
    }

    void fetchMessages() {
        if (!m_sendsMessages) return;
        if (m_messages.isOpen() && m_messages.turn(runningS())) {
            const sOutcome outcome = m_messages.takeAnswer().outcome;
            const auto messages = parseFoundMessages(outcome.output);
            if (outcome.status == eResult::DONE && messages)
                m_agent.takeMessages(*messages, readClock());
            else
                log("no received messages: " + outcome.text);
        }
        if (m_messages.isOpen() || !m_agent.mayHaveMessages()) return;
        std::string error;
        const std::string request =
            std::string(REQUEST_MESSAGES) + " " + messageKeysJson(m_store.textMessages());
        if (!m_messages.start(m_places, request, runningS(), error)) log(error);
    }

    void askToConfirm(const std::string& id) {
        std::string error;
        if (!m_confirmation.start(m_places, std::string(REQUEST_CONFIRM) + " " + id, runningS(),
                                  error))
            log(error);
    }

    void sayGoodbye() {
        m_agent.sayStopped(readClock());
        const int64_t endMs = monotonicMs() + LAST_WORDS_MS;
        while (m_link.isUp() && !m_agent.isAllTaken() && monotonicMs() < endMs) {
            pollfd event{m_link.fd(), m_link.events(), 0};
            poll(&event, 1, static_cast<int>(std::max<int64_t>(0, endMs - monotonicMs())));
            m_link.turn(event.revents, monotonicMs());
        }
        m_link.stop();
    }

    const sPlaces m_places;
    const cAgentStore& m_store;
    cAgent m_agent;
    cBrokerLink m_link;
    cRootLink m_root;
    cRootLink m_confirmation;  // beside a command that runs
    cRootLink m_messages;
    const bool m_sendsMessages;
    cChangeWatch m_change;
    sCommand m_command;  // that m_root executes
    std::string m_lastWhy;
    sAgentState m_state;
    std::string m_published;
    pollfd m_events[EVENTS] = {};
    int64_t m_dueMs = 0;
    int64_t m_tidyMs = 0;  // 0: nothing to give back
};

}  // namespace

namespace {

// A file may still have to be mounted, or to be corrected: looked at again and again. False: the
// end.
bool waitForConfig(const sPlaces& places, int signals, sAgentConfig& config) {
    std::vector<std::string> said;
    while (true) {
        const std::vector<std::string> problems = checkAgentConfig(places, config);
        if (problems.empty()) return true;
        if (problems != said) {
            for (const std::string& problem : problems)
                log(problem);
            sAgentState state;
            state.pid = getpid();
            state.error = problems.front();
            state.errorAt = time(nullptr);
            publishAgentState(places, state);
            notifyReady();
        }
        said = problems;
        for (int i = 0; i < CONFIG_LOOK_S; i += ALIVE_EVERY_S) {
            notifyAlive();
            pollfd event{signals, POLLIN, 0};
            if (poll(&event, 1, ALIVE_EVERY_S * 1000) > 0) return false;
        }
    }
}

int runWithStore(const sPlaces& places, const sAgentConfig& config, int signals) {
    cAgentStore store(places.at(AGENT_FOLDER));
    std::string note;
    std::string error;
    if (!store.open(note, error)) {
        log(error);
        return 1;
    }
    if (!note.empty()) log(note);
    {
        cService service(places, config, store);
        service.run(note, signals);
    }
    if (!store.noteEnd(error)) log(error);
    return 0;
}

}  // namespace

int runAgentService() {
    connectServiceManager();
    const sPlaces places;
    const cFileDescriptor signals(openEndSignals());
    try {
        sAgentConfig config;
        if (!waitForConfig(places, signals.get(), config)) return 0;
        return runWithStore(places, config, signals.get());
    } catch (const cFailure& failure) {
        log(failure.what());
        return 1;
    }
}
