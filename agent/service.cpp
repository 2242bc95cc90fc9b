#include "agent/service.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

#include "agent/agent.h"
#include "agent/agent_paths.h"
#include "agent/root_link.h"
#include "cli/base/failure.h"
#include "include/service_manager.h"
#include "mqtt/broker_link.h"
#include "mqtt/topics.h"
#include "platform/files/file_descriptor.h"

namespace {

// The broker gets so long to take the last words.
constexpr int64_t LAST_WORDS_MS = 3000;

void log(const std::string& line) {
    fprintf(stderr, "%s\n", line.c_str());
}

int64_t monotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000;
}

sAgentClock readClock() {
    timespec run{};
    // Goes on while the host sleeps.
    clock_gettime(CLOCK_BOOTTIME, &run);
    return {time(nullptr), run.tv_sec};
}

int openSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGINT);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

// Puts agent, broker and the service that works as root together.
class cService final : public iBroker {
  public:
    cService(const sPlaces& places, const sAgentConfig& config, cAgentStore& store)
        : m_places(places),
          m_agent(places, config, store, *this, log),
          m_link(config.broker,
                 {config.gateway, true, topicText({config.gateway, eTopic::AVAILABILITY, 0})},
                 {[this](bool isSessionPresent) { noteUp(isSessionPresent); },
                  [this](const std::string& why) { noteDown(why); },
                  [this](const sIncomingMessage& message) {
                      m_agent.message(message.topic, message.payload, message.isRetained,
                                      readClock());
                  },
                  [this](int messageId) { m_agent.acknowledged(messageId); },
                  [this](int, bool isGranted) { noteSubscribed(isGranted); },
                  [this] { return m_agent.lastWill(readClock()); }},
                 places) {}

    bool isUp() const override { return m_link.isUp(); }
    int publish(const std::string& topic, const std::string& text, bool isRetained) override {
        return m_link.publish(topic, text, isRetained);
    }
    int subscribe(const std::string& topic) override { return m_link.subscribe(topic); }
    void renew() override { m_link.renew(); }

    void run(const std::string& note, int signals) {
        m_agent.start(note, readClock());
        notifyReady();
        while (!waitForWork(signals)) {
            m_link.turn(m_events[BROKER].revents, monotonicMs());
            workAsRoot();
            const long long nextS = m_agent.work(readClock());
            startCommand();
            m_dueMs = monotonicMs() + nextS * 1000;
            notifyAlive();
        }
        notifyStopping();
        sayGoodbye();
    }

  private:
    enum { SIGNALS, BROKER, ROOT, EVENTS };

    // Whether a signal asks for the end.
    bool waitForWork(int signals) {
        m_events[SIGNALS] = {signals, POLLIN, 0};
        m_events[BROKER] = {m_link.fd(), m_link.events(), 0};
        m_events[ROOT] = {m_root.fd(), m_root.events(), 0};
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
        m_agent.up(isSessionPresent, readClock());
    }

    void noteDown(const std::string& why) {
        // While a broker is away, each attempt fails in the same way.
        if (why != m_lastWhy) log(why);
        m_lastWhy = why;
        m_agent.down();
    }

    void noteSubscribed(bool isGranted) {
        if (!isGranted) log("the broker does not let this gateway read its commands");
    }

    void startCommand() {
        if (m_root.isOpen()) return;
        const std::optional<sCommand> command = m_agent.desk().start(readClock());
        if (!command) return;
        m_command = *command;
        std::string error;
        if (m_root.start(m_places, std::string(REQUEST_EXECUTE) + " " + commandText(m_command),
                         readClock().runS, error))
            return;
        m_agent.desk().end(m_command, {eResult::FAILED, error, {}, "", false}, readClock());
        m_agent.settle();
    }

    void workAsRoot() {
        if (!m_root.isOpen() || !m_root.turn(readClock().runS)) return;
        const sRootAnswer answer = m_root.takeAnswer();
        if (answer.isBegun)
            m_agent.desk().noteChanging(m_command, readClock());
        else
            m_agent.desk().end(m_command, answer.outcome, readClock());
        m_agent.settle();
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
    cAgent m_agent;
    cBrokerLink m_link;
    cRootLink m_root;
    sCommand m_command;  // that m_root executes
    std::string m_lastWhy;
    pollfd m_events[EVENTS] = {};
    int64_t m_dueMs = 0;
};

}  // namespace

int runAgentService() {
    connectServiceManager();
    const sPlaces places;
    try {
        sAgentConfig config;
        const std::vector<std::string> problems = checkAgentConfig(places, config);
        for (const std::string& problem : problems)
            log(problem);
        if (!problems.empty()) return 1;
        const cFileDescriptor signals(openSignals());
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
            service.run(note, signals.get());
        }
        if (!store.noteEnd(error)) log(error);
        return 0;
    } catch (const cFailure& failure) {
        log(failure.what());
        return 1;
    }
}
