// Many simulated gateways in one process, for the benchmark of brokers and of cellslot-fleet: each
// has the connection of an agent, publishes its states, answers commands, and reports events on
// request.
//   fleet_agents KEYS STATUS-FILE COUNT PORT[,PORT]...
// Standard output, one line for each change: "up N SECONDS" when N of them are at a broker and it
// has their states, "events N SECONDS" when it has so many events. Standard input: "events N" asks
// for N, each gateway's next one after the last was acknowledged. Ends at the end of the input.
#include <poll.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli/base/failure.h"
#include "mqtt/broker_link.h"
#include "mqtt/command.h"
#include "mqtt/messages.h"
#include "mqtt/topics.h"

namespace {

constexpr int STEP_MS = 100;
constexpr int EVERY_S = 900;
constexpr const char* STREAM = "1f0c9a2b";

int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

struct sCounts {
    size_t up = 0;
    size_t eventsWanted = 0;
    size_t eventsSent = 0;
    size_t eventsDone = 0;
};

class cAgent {
  public:
    cAgent(const std::string& keys, const std::string& name, const std::vector<int>& ports,
           const std::string& status, sCounts& counts)
        : m_name(name),
          m_status(status),
          m_counts(counts),
          m_link(options(keys, name, ports), {name, true, topicOf(eTopic::AVAILABILITY)},
                 handlers(), {}) {}

    cBrokerLink& link() { return m_link; }

    // The next event, if one is wanted and the last one has arrived.
    void report() {
        if (!m_isCounted || !m_events.empty() || m_counts.eventsSent == m_counts.eventsWanted)
            return;
        sWireEvent event;
        event.id = {STREAM, ++m_number};
        event.time = time(nullptr);
        event.kind = "signal";
        event.text = "The signal is fair.";
        const int id = m_link.publish(topicOf(eTopic::EVENT), eventText(event), false);
        if (id < 0) return;
        m_events.insert(id);
        ++m_counts.eventsSent;
    }

  private:
    static sBrokerOptions options(const std::string& keys, const std::string& name,
                                  const std::vector<int>& ports) {
        sBrokerOptions options;
        for (const int port : ports)
            options.brokers.push_back({"localhost", port});
        options.caFile = keys + "/ca.crt";
        options.certFile = keys + "/gateways/" + name + ".crt";
        options.keyFile = keys + "/gateways/" + name + ".key";
        return options;
    }

    std::string topicOf(eTopic kind) const {
        const bool isSlots = kind == eTopic::STATUS || kind == eTopic::EVENT;
        return topicText({m_name, kind, isSlots ? 1 : 0});
    }

    cBrokerLink::sHandlers handlers() {
        cBrokerLink::sHandlers handlers;
        handlers.up = [this](bool) { begin(); };
        handlers.down = [this](const std::string&) { lose(); };
        handlers.message = [this](const sIncomingMessage& message) { obey(message.payload); };
        // A busy cluster refuses a subscription now and then.
        handlers.subscribed = [this](int, bool isGranted) {
            if (isGranted) return;
            fprintf(stderr, "%s: its subscription was refused\n", m_name.c_str());
            m_link.renew();
        };
        handlers.acknowledged = [this](int id) { acknowledge(id); };
        handlers.lastWill = [] {
            sAvailability will;
            will.time = time(nullptr);
            will.reason = AVAILABILITY_LOST;
            return availabilityText(will);
        };
        return handlers;
    }

    void begin() {
        m_link.subscribe(topicOf(eTopic::COMMAND));
        sAvailability said;
        said.isOnline = true;
        said.time = time(nullptr);
        said.version = "bench";
        said.everyS = EVERY_S;
        said.stream = STREAM;
        m_states.clear();
        m_states.insert(
            m_link.publish(topicOf(eTopic::AVAILABILITY), availabilityText(said), true));
        m_states.insert(m_link.publish(topicOf(eTopic::STATUS), m_status, true));
    }

    void lose() {
        if (m_isCounted) --m_counts.up;
        m_isCounted = false;
        m_counts.eventsSent -= m_events.size();
        m_events.clear();
    }

    void acknowledge(int id) {
        if (m_events.erase(id) > 0) ++m_counts.eventsDone;
        if (m_states.erase(id) == 0 || !m_states.empty() || m_isCounted) return;
        m_isCounted = true;
        ++m_counts.up;
    }

    void obey(const std::string& payload) {
        const sParsedCommand parsed = parseCommand(payload);
        if (parsed.use != eCommandUse::GOOD) return;
        sResult result;
        result.id = {STREAM, ++m_number};
        result.time = time(nullptr);
        result.command = parsed.command.id;
        result.name = parsed.command.name;
        result.by = parsed.command.by;
        result.status = eResult::DONE;
        result.text = "done";
        m_link.publish(topicOf(eTopic::RESULT), resultText(result), false);
    }

    const std::string m_name;
    const std::string& m_status;
    sCounts& m_counts;
    bool m_isCounted = false;
    uint64_t m_number = 0;
    std::set<int> m_states;
    std::set<int> m_events;
    cBrokerLink m_link;  // last: its handlers use all of this
};

class cAgents {
  public:
    cAgents(const std::string& keys, const std::string& status, size_t count,
            const std::vector<int>& ports)
        : m_status(status) {
        for (size_t i = 0; i < count; ++i) {
            std::vector<int> own;
            for (size_t j = 0; j < ports.size(); ++j)
                own.push_back(ports[(i + j) % ports.size()]);
            m_agents.push_back(
                std::make_unique<cAgent>(keys, "gw-" + std::to_string(i), own, m_status, m_counts));
        }
        m_polled.resize(count + 1);
    }

    void run() {
        m_startMs = nowMs();
        while (turn())
            say();
    }

  private:
    bool turn() {
        m_polled.back() = {STDIN_FILENO, POLLIN, 0};
        int64_t due = nowMs() + STEP_MS;
        for (size_t i = 0; i < m_agents.size(); ++i) {
            cBrokerLink& link = m_agents[i]->link();
            m_polled[i] = {link.fd(), link.events(), 0};
            due = std::min(due, link.dueMs());
        }
        const int64_t wait = std::max<int64_t>(due - nowMs(), 0);
        if (poll(m_polled.data(), m_polled.size(), static_cast<int>(wait)) < 0) return false;
        const int64_t now = nowMs();
        for (size_t i = 0; i < m_agents.size(); ++i) {
            cBrokerLink& link = m_agents[i]->link();
            if (m_polled[i].revents != 0 || link.dueMs() <= now)
                link.turn(m_polled[i].revents, now);
            m_agents[i]->report();
        }
        return m_polled.back().revents == 0 || readOrder();
    }

    bool readOrder() {
        char line[64];
        if (fgets(line, sizeof line, stdin) == nullptr) return false;
        m_counts.eventsWanted = m_counts.eventsDone + strtoul(line + sizeof "events", nullptr, 10);
        m_counts.eventsSent = m_counts.eventsDone;
        m_startMs = nowMs();
        return true;
    }

    void say() {
        const double seconds = static_cast<double>(nowMs() - m_startMs) / 1000;
        if (m_counts.up != m_saidUp) printf("up %zu %.3f\n", m_counts.up, seconds);
        m_saidUp = m_counts.up;
        if (m_counts.eventsWanted > 0 && m_counts.eventsDone >= m_counts.eventsWanted) {
            printf("events %zu %.3f\n", m_counts.eventsWanted, seconds);
            m_counts.eventsWanted = m_counts.eventsSent = m_counts.eventsDone = 0;
        }
        fflush(stdout);
    }

    const std::string m_status;
    sCounts m_counts;
    size_t m_saidUp = 0;
    int64_t m_startMs = 0;
    std::vector<std::unique_ptr<cAgent>> m_agents;
    std::vector<pollfd> m_polled;
};

std::string contentOf(const char* path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::vector<int> numbersOf(const std::string& list) {
    std::vector<int> numbers;
    std::istringstream words(list);
    for (std::string word; std::getline(words, word, ',');)
        numbers.push_back(atoi(word.c_str()));
    return numbers;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        fputs("Usage: fleet_agents KEYS STATUS-FILE COUNT PORT[,PORT]...\n", stderr);
        return 2;
    }
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    cAgents(argv[1], contentOf(argv[2]), strtoul(argv[3], nullptr, 10), numbersOf(argv[4])).run();
    return 0;
}
