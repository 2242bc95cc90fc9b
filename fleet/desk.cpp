#include "fleet/desk.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>

#include "cli/base/failure.h"
#include "cli/base/waiting.h"

namespace {

constexpr int STEP_MS = 1000;
// Right after the loss of a node a cluster may refuse a client once.
constexpr size_t ROUNDS = 2;
// A busy cluster, or one that has just lost a node, refuses a subscription that it allows some
// seconds later.
constexpr int REFUSALS_MAX = 15;
constexpr int64_t AGAIN_MS = 1000;
constexpr int64_t LATER_MS = 30'000;

std::string clientId(const std::string& session) {
    if (!session.empty()) return "fleet-" + session;
    std::random_device random;
    char name[32];
    snprintf(name, sizeof name, "fleet-%08x%08x", random(), random());
    return name;
}

}  // namespace

int64_t monotonicMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

cDesk::cDesk(const sFleetConfig& config, const sPlaces& places, const std::string& session,
             std::vector<sSubscription> subscriptions, tMessage message)
    : m_subscriptions(std::move(subscriptions)),
      m_message(std::move(message)),
      m_trouble("not connected yet"),
      m_brokers(config.broker.brokers.size()),
      m_link(config.broker, {clientId(session), !session.empty(), ""}, handlers(), places) {}

cBrokerLink::sHandlers cDesk::handlers() {
    cBrokerLink::sHandlers handlers;
    handlers.up = [this](bool) {
        m_trouble.clear();
        m_failures = 0;
        subscribeAll();
    };
    handlers.down = [this](const std::string& why) {
        m_trouble = why;
        ++m_failures;
    };
    handlers.message = [this](const sIncomingMessage& message) { take(message); };
    handlers.acknowledged = [this](int messageId) {
        if (m_acknowledged) m_acknowledged(messageId);
    };
    handlers.subscribed = [this](int messageId, bool isGranted) {
        subscribed(messageId, isGranted);
    };
    return handlers;
}

void cDesk::subscribeAll() {
    m_pending.clear();
    m_again.clear();
    m_refusals = 0;
    m_refused.clear();
    for (const sSubscription& each : m_subscriptions)
        subscribe(each);
}

void cDesk::subscribe(const sSubscription& wanted) {
    m_pending[m_link.subscribe(wanted.filter, wanted.delivery)] = &wanted;
}

void cDesk::refuse(const sSubscription& wanted) {
    if (m_refusals >= REFUSALS_MAX) m_refused = wanted.filter;
    m_again.push_back(&wanted);
    m_againMs = monotonicMs() + (m_refused.empty() ? AGAIN_MS : LATER_MS);
}

void cDesk::subscribeAgain() {
    if (m_again.empty() || !m_pending.empty() || !m_link.isUp() || monotonicMs() < m_againMs)
        return;
    ++m_refusals;
    std::vector<const sSubscription*> wanted;
    wanted.swap(m_again);
    for (const sSubscription* each : wanted)
        subscribe(*each);
}

void cDesk::subscribed(int messageId, bool isGranted) {
    const auto found = m_pending.find(messageId);
    if (found == m_pending.end()) return;
    const sSubscription& answered = *found->second;
    m_pending.erase(found);
    if (!isGranted) refuse(answered);
    if (!m_pending.empty() || !m_again.empty()) return;
    m_refused.clear();
    if (m_wasReady && m_back) m_back();
    m_wasReady = true;
}

void cDesk::take(const sIncomingMessage& message) {
    ++m_received;
    const std::optional<sTopic> topic = parseTopic(message.topic);
    if (topic) m_message(*topic, message);
}

std::string cDesk::trouble() const {
    return m_refused.empty() ? m_trouble
                             : "the broker does not allow this user to read " + m_refused;
}

void cDesk::turn(int milliseconds, int other) {
    subscribeAgain();
    const int64_t now = monotonicMs();
    const int64_t next = m_again.empty() ? m_link.dueMs() : std::min(m_link.dueMs(), m_againMs);
    const int64_t due = std::clamp<int64_t>(next - now, 0, milliseconds);
    pollfd watched[] = {{m_link.fd(), m_link.events(), 0}, {other, POLLIN, 0}};
    const int ready = poll(watched, 2, static_cast<int>(due));
    m_link.turn(ready > 0 ? watched[0].revents : static_cast<short>(0), monotonicMs());
}

bool cDesk::open() {
    while (!isReady()) {
        turn(STEP_MS);
        if (cInterruption::signalSeen() != 0) return false;
        if (m_failures >= ROUNDS * m_brokers)
            throw cFailure(eExitStatus::FAILED, "no connection to the broker: " + m_trouble);
    }
    if (!m_refused.empty()) throw cFailure(eExitStatus::NOT_PERMITTED, trouble());
    return true;
}

bool cDesk::collect() {
    if (!open()) return false;
    int64_t last = monotonicMs();
    for (size_t seen = m_received; monotonicMs() - last < QUIET_MS; seen = m_received) {
        turn(static_cast<int>(QUIET_MS));
        if (!isReady() && !open()) return false;
        if (cInterruption::signalSeen() != 0) return false;
        if (m_received != seen) last = monotonicMs();
    }
    return true;
}

int cDesk::publish(const std::string& topic, const std::string& payload) {
    return m_link.publish(topic, payload, false);
}
