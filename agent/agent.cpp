#include "agent/agent.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "cli/status/slot_report.h"
#include "mqtt/messages.h"
#include "mqtt/topics.h"
#include "published/slot.h"

namespace {

constexpr size_t SAMPLES_MAX = 16;
// While the store cannot be written.
constexpr size_t PENDING_MAX = 200;

sDraft eventDraft(int slot, const sEvent& event) {
    sWireEvent wire;
    wire.time = event.time;
    wire.kind = event.kind;
    wire.text = event.text;
    wire.cause = event.cause;
    if (event.durationS) wire.seconds = std::max(0LL, *event.durationS);
    return {eWaiting::EVENT, slot, [wire](const sMessageId& id) {
                sWireEvent named = wire;
                named.id = id;
                return eventText(named);
            }};
}

sDraft sampleDraft(int slot, time_t now, const std::string& signalJson) {
    sWireEvent wire;
    wire.time = now;
    wire.kind = WIRE_EVENT_SIGNAL;
    wire.signalJson = signalJson;
    return {eWaiting::SIGNAL, slot, [wire](const sMessageId& id) {
                sWireEvent named = wire;
                named.id = id;
                return eventText(named);
            }};
}

sDraft droppedDraft(time_t now, const sDropped& dropped) {
    sWireEvent wire;
    wire.time = now;
    wire.kind = WIRE_EVENT_DROPPED;
    wire.text = std::to_string(dropped.count) +
                " messages had no room while there was no line, and are lost.";
    wire.first = dropped.first;
    wire.last = dropped.last;
    wire.count = dropped.count;
    return {eWaiting::DROPPED, FIRST_SLOT, [wire](const sMessageId& id) {
                sWireEvent named = wire;
                named.id = id;
                return eventText(named);
            }};
}

sDraft lostDraft(time_t now, unsigned long long count) {
    return eventDraft(FIRST_SLOT, eventOf(now, WIRE_EVENT_AGENT,
                                          std::to_string(count) +
                                              " events were lost: the disk could not be written."));
}

eTopic topicOf(eWaiting kind) {
    switch (kind) {
        case eWaiting::RESULT:
            return eTopic::RESULT;
        case eWaiting::SMS:
            return eTopic::SMS;
        case eWaiting::SIGNAL:
        case eWaiting::EVENT:
        case eWaiting::DROPPED:
            break;
    }
    return eTopic::EVENT;
}

}  // namespace

cAgent::cAgent(const sPlaces& places, const sAgentConfig& config, cAgentStore& store,
               iBroker& broker, tLog log)
    : m_places(places),
      m_config(config),
      m_store(store),
      m_broker(broker),
      m_log(std::move(log)),
      m_desk(config, store, m_log) {}

std::string cAgent::topic(eTopic kind, int slot) const {
    return topicText({m_config.gateway, kind, slot});
}

cSlotWatch& cAgent::watchOf(int slot) {
    return m_slots.try_emplace(slot, m_places, slot).first->second;
}

void cAgent::addEvent(int slot, const sEvent& event) {
    if (m_pending.messages.size() >= PENDING_MAX) {
        ++m_lost;
        m_lostAt = event.time;
        return;
    }
    m_pending.messages.push_back(eventDraft(slot, event));
}

void cAgent::start(const std::string& note, const sAgentClock& clock) {
    std::string text = std::string("The agent has started, version ") + CELLSLOT_VERSION + ".";
    if (m_store.wasInterrupted()) text += " It had not ended in an orderly way.";
    if (!note.empty()) text += " " + note;
    addEvent(FIRST_SLOT, eventOf(clock.wall, WIRE_EVENT_AGENT, text));
    m_desk.resume(clock);
    m_nextAliveS = clock.runS + ALIVE_S;
    settle();
}

void cAgent::settle() {
    m_desk.saveAgain();
    if (m_reportAt || !m_pending.messages.empty()) saveEvents();
    sendWaiting();
}

// What the store does not take is kept and tried again.
void cAgent::saveEvents() {
    keepSamples();
    sStoreChange change = m_pending;
    // Of this moment: more may have been dropped since the report was due.
    change.isDroppedReported = m_reportAt && m_store.dropped().count > 0;
    if (change.isDroppedReported)
        change.messages.push_back(droppedDraft(*m_reportAt, m_store.dropped()));
    if (m_lost > 0) change.messages.push_back(lostDraft(m_lostAt, m_lost));
    std::string error;
    if (m_store.commit(change, error)) {
        m_pending = {};
        m_reportAt.reset();
        m_lost = 0;
    }
    if (error != m_storeError && !error.empty()) m_log(error);
    m_storeError = error;
}

void cAgent::keepSamples() {
    if (m_pending.messages.size() >= PENDING_MAX) return;
    for (sDraft& sample : m_samples)
        m_pending.messages.push_back(std::move(sample));
    m_samples.clear();
}

// ---- the broker's side

std::string cAgent::lastWill(const sAgentClock& clock) const {
    sAvailability availability;
    availability.time = clock.wall;
    availability.reason = AVAILABILITY_LOST;
    return availabilityText(availability);
}

void cAgent::up(bool isSessionPresent, const sAgentClock& clock) {
    m_subscribePauseS = FIRST_SUBSCRIBE_PAUSE_S;
    subscribe();
    // A broker that knows nothing of this gateway may have lost its retained messages too.
    if (!isSessionPresent)
        for (auto& [slot, watch] : m_slots)
            watch.status().sendAgain();
    m_hasTaken = true;
    sayAlive(clock);
    m_nextLookS = clock.runS;
    settle();
}

void cAgent::subscribe() {
    m_nextSubscribeS = NEVER;
    m_broker.subscribe(topic(eTopic::COMMAND));
}

void cAgent::subscribed(bool isGranted, const sAgentClock& clock) {
    if (isGranted) return;
    if (m_subscribePauseS == FIRST_SUBSCRIBE_PAUSE_S)
        m_log("the broker does not let this gateway read its commands; it is asked again");
    m_nextSubscribeS = clock.runS + m_subscribePauseS;
    m_subscribePauseS = std::min(2 * m_subscribePauseS, LAST_SUBSCRIBE_PAUSE_S);
}

void cAgent::down() {
    m_nextSubscribeS = NEVER;
    for (const auto& [messageId, sent] : m_sent)
        if (sent.statusSlot != 0) watchOf(sent.statusSlot).status().sendAgain();
    m_sent.clear();
    m_store.takeBack();
}

void cAgent::message(const std::string& topicName, const std::string& text, bool isRetained,
                     const sAgentClock& clock) {
    if (topicName != topic(eTopic::COMMAND)) return;
    // A broker hands it out with each subscription, so that it would come for ever.
    if (isRetained) return m_log("a retained command was not executed; send commands without it");
    m_desk.take(text, clock);
    settle();
}

void cAgent::acknowledged(int messageId) {
    m_hasTaken = true;
    m_patienceS = FIRST_PATIENCE_S;
    const auto sent = m_sent.find(messageId);
    if (sent == m_sent.end()) return;
    if (sent->second.number != 0) m_store.noteDelivered(sent->second.number);
    m_sent.erase(sent);
    sendWaiting();
}

void cAgent::sendWaiting() {
    while (m_broker.isUp() && m_sent.size() < ON_THE_WAY_MAX) {
        const std::optional<sWaitingMessage> next = m_store.takeNext();
        if (!next) return;
        const int messageId =
            m_broker.publish(topic(topicOf(next->kind), next->slot), next->text, false);
        if (messageId < 0) return m_store.takeBack(next->number);
        m_sent[messageId] = {next->number, 0};
    }
}

// ---- what time brings

void cAgent::sayAlive(const sAgentClock& clock) {
    m_nextAliveS = clock.runS + ALIVE_S;
    if (!m_broker.isUp()) return;
    if (m_store.dropped().count > 0) m_reportAt = clock.wall;
    sAvailability availability;
    availability.isOnline = true;
    availability.time = clock.wall;
    availability.version = CELLSLOT_VERSION;
    availability.everyS = static_cast<int>(ALIVE_S);
    availability.waiting = static_cast<long long>(m_store.waiting());
    availability.stream = m_store.stream();
    const int messageId =
        m_broker.publish(topic(eTopic::AVAILABILITY), availabilityText(availability), true);
    if (messageId >= 0) m_sent[messageId] = {};
}

void cAgent::sayStopped(const sAgentClock& clock) {
    sAvailability availability;
    availability.time = clock.wall;
    availability.reason = AVAILABILITY_STOPPED;
    keepSamples();
    settle();
    if (!m_broker.isUp()) return;
    const int messageId =
        m_broker.publish(topic(eTopic::AVAILABILITY), availabilityText(availability), true);
    if (messageId >= 0) m_sent[messageId] = {};
}

void cAgent::look(const sAgentClock& clock) {
    for (const int slot : findSlots(m_places))
        watchOf(slot);
    for (auto& [slot, watch] : m_slots) {
        for (const sEvent& event : watch.look(clock))
            addEvent(slot, event);
        if (watch.status().signalNews() && m_samples.size() < SAMPLES_MAX)
            m_samples.push_back(sampleDraft(slot, clock.wall, *watch.status().signalNews()));
    }
}

bool cAgent::mayHaveMessages() {
    std::string counts;
    for (const auto& [slot, watch] : m_slots)
        counts += watch.report().file.record.text(STATUS_SMS_RECV) + " ";
    const bool isNew = counts != std::exchange(m_messageCounts, counts);
    return std::exchange(m_areMessagesDue, false) || isNew;
}

void cAgent::takeMessages(const sFoundMessages& found, const sAgentClock& clock) {
    const tMessageKeys& known = m_store.textMessages();
    sStoreChange change;
    change.textMessages.emplace();
    std::set_intersection(known.begin(), known.end(), found.keys.begin(), found.keys.end(),
                          std::inserter(*change.textMessages, change.textMessages->end()));
    for (const sFoundMessage& message : found.messages) {
        change.textMessages->insert(message.key);
        if (known.count(message.key) != 0) continue;
        // All slots share the messages.
        change.messages.push_back({eWaiting::SMS,
                                   m_slots.empty() ? FIRST_SLOT : m_slots.begin()->first,
                                   [message, clock](const sMessageId& id) {
                                       return textMessageText({id, clock.wall, message.from,
                                                               message.text, message.received});
                                   }});
    }
    if (*change.textMessages == known) return;
    std::string error;
    if (!m_store.commit(change, error)) return m_log(error);
    // The rest of many.
    m_areMessagesDue = !found.messages.empty() && m_store.textMessages().size() < found.keys.size();
    sendWaiting();
}

void cAgent::sendStatuses(const sAgentClock& clock) {
    for (auto& [slot, watch] : m_slots) {
        if (!m_broker.isUp()) return;
        const std::optional<std::string>& status = watch.status().due();
        if (!status) continue;
        const int messageId = m_broker.publish(topic(eTopic::STATUS, slot),
                                               slotStatusText(clock.wall, *status), true);
        if (messageId < 0) continue;
        m_sent[messageId] = {0, slot};
        watch.status().noteSent();
    }
}

// A broker may keep the connection and yet take nothing, as a node that has lost its cluster.
void cAgent::leaveIfSilent(const sAgentClock& clock) {
    if (std::exchange(m_hasTaken, false) || m_sent.empty() || !m_broker.isUp())
        m_silentSinceS = clock.runS;
    if (clock.runS - m_silentSinceS < m_patienceS) return;
    m_log("the broker has taken nothing for " + std::to_string(m_patienceS) +
          " s; making a new connection");
    m_silentSinceS = clock.runS;
    m_patienceS = std::min(2 * m_patienceS, LAST_PATIENCE_S);
    m_broker.goOn();
}

long long cAgent::work(const sAgentClock& clock) {
    if (clock.runS >= m_nextLookS) {
        m_nextLookS = clock.runS + LOOK_S;
        look(clock);
    }
    if (clock.runS >= m_nextAliveS) {
        keepSamples();
        m_areMessagesDue = true;
        m_store.forgetCommands(clock.wall);
        sayAlive(clock);
    }
    if (clock.runS >= m_nextSubscribeS) subscribe();
    leaveIfSilent(clock);
    settle();
    sendStatuses(clock);
    return std::max(0LL, std::min(m_nextLookS, m_nextAliveS) - clock.runS);
}
