#ifndef AGENT_AGENT_H
#define AGENT_AGENT_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "agent/agent_config.h"
#include "agent/agent_store.h"
#include "agent/broker.h"
#include "agent/command_desk.h"
#include "agent/slot_watch.h"
#include "agent/text_messages.h"
#include "mqtt/topics.h"

// What the agent sends, and when; it knows no connections and no processes.
class cAgent {
  public:
    using tLog = std::function<void(const std::string& line)>;

    static constexpr long long LOOK_S = 5;
    static constexpr long long ALIVE_S = 900;
    // Messages that are sent before the broker has taken the first of them.
    static constexpr size_t ON_THE_WAY_MAX = 8;
    // A broker that answers, but takes nothing for so long, is left; each time for longer.
    static constexpr long long FIRST_PATIENCE_S = 300;
    static constexpr long long LAST_PATIENCE_S = 3600;

    cAgent(const sPlaces& places, const sAgentConfig& config, cAgentStore& store, iBroker& broker,
           tLog log);

    // note: of the store.
    void start(const std::string& note, const sAgentClock& clock);

    // The broker's side.
    void up(bool isSessionPresent, const sAgentClock& clock);
    void down();
    void message(const std::string& topic, const std::string& text, bool isRetained,
                 const sAgentClock& clock);
    void acknowledged(int messageId);
    // The answer to the subscription of the commands. A refused one is tried again, since a busy
    // cluster refuses what it allows a moment later.
    void subscribed(bool isGranted, const sAgentClock& clock);
    std::string lastWill(const sAgentClock& clock) const;

    // What is due. Returns the seconds until something is due again.
    long long work(const sAgentClock& clock);
    // Says that this is an orderly end; the connection is still there.
    void sayStopped(const sAgentClock& clock);
    // Whether the broker has taken all that was sent.
    bool isAllTaken() const { return m_sent.empty(); }

    cCommandDesk& desk() { return m_desk; }
    // As of the last look.
    const sSlotReport& report(int slot) { return watchOf(slot).report(); }
    void addEvent(int slot, const sEvent& event);
    // Whether there may be new text messages, since the last call.
    bool mayHaveMessages();
    void takeMessages(const sFoundMessages& found, const sAgentClock& clock);
    // Puts what has happened into the store, and sends what waits there.
    void settle();

  private:
    // Something that the broker has not taken yet.
    struct sSent {
        uint64_t number = 0;  // of the store; 0: it is not from there
        int statusSlot = 0;   // 0: it is not a status
    };

    void look(const sAgentClock& clock);
    void sayAlive(const sAgentClock& clock);
    void keepSamples();
    void saveEvents();
    void leaveIfSilent(const sAgentClock& clock);
    void sendStatuses(const sAgentClock& clock);
    void sendWaiting();
    void subscribe();
    cSlotWatch& watchOf(int slot);
    std::string topic(eTopic kind, int slot = 0) const;

    const sPlaces m_places;
    const sAgentConfig& m_config;
    cAgentStore& m_store;
    iBroker& m_broker;
    const tLog m_log;
    cCommandDesk m_desk;

    std::map<int, cSlotWatch> m_slots;
    sStoreChange m_pending;            // not in the store yet
    unsigned long long m_lost = 0;     // events that had no room there
    time_t m_lostAt = 0;               // the last of them
    std::optional<time_t> m_reportAt;  // what was dropped is to be reported, as of this time
    // A sample may wait for the next event or sign of life: one write then does for both.
    std::vector<sDraft> m_samples;
    std::map<int, sSent> m_sent;
    bool m_hasTaken = false;  // the broker, since the last look
    long long m_silentSinceS = 0;
    long long m_patienceS = FIRST_PATIENCE_S;
    std::string m_storeError;
    // Received messages as the daemons count them; another number means that there is a new one.
    std::string m_messageCounts;
    bool m_areMessagesDue = true;
    static constexpr long long NEVER = INT64_MAX;
    static constexpr long long FIRST_SUBSCRIBE_PAUSE_S = 10;
    static constexpr long long LAST_SUBSCRIBE_PAUSE_S = 600;
    long long m_nextSubscribeS = NEVER;
    long long m_subscribePauseS = FIRST_SUBSCRIBE_PAUSE_S;
    long long m_nextLookS = 0;
    long long m_nextAliveS = 0;
};

#endif
