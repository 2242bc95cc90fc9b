#ifndef MQTT_BROKER_LINK_H
#define MQTT_BROKER_LINK_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "mqtt/broker_options.h"
#include "mqtt/reconnect_pause.h"
#include "mqtt/tls_session.h"

struct mosquitto;

// A message of the broker. It is valid during the call only.
struct sIncomingMessage {
    const std::string& topic;
    const std::string& payload;
    bool isRetained;  // the broker had it before this subscription
};

// A connection to a broker, MQTT 3.1.1, for a loop of its owner: never blocks but while a
// name is looked up. Comes back by itself: the brokers of the options in turn, then a pause
// (cReconnectPause). What was not acknowledged when the connection ended is forgotten here; the
// owner sends it again.
class cBrokerLink {
  public:
    struct sHandlers {
        // Connected. isSessionPresent: the broker has kept subscriptions and messages.
        std::function<void(bool isSessionPresent)> up;
        // No connection any more, or an attempt failed; why is a sentence for people.
        std::function<void(const std::string& why)> down;
        std::function<void(const sIncomingMessage& message)> message;
        // The broker has taken a message.
        std::function<void(int messageId)> acknowledged;
        // The broker has taken a subscription, or (isGranted false) refused it.
        std::function<void(int messageId, bool isGranted)> subscribed;
        // Made before each attempt; retained. An empty text: none.
        std::function<std::string()> lastWill;
    };
    struct sIdentity {
        std::string clientId;
        bool keepsSession = false;  // the broker keeps subscriptions and messages while it is away
        std::string lastWillTopic;
    };

    // handlers are called from turn() only; those that are not set are left out. places: where the
    // files of the options are.
    cBrokerLink(sBrokerOptions options, sIdentity identity, sHandlers handlers,
                const sPlaces& places);
    ~cBrokerLink();
    cBrokerLink(const cBrokerLink&) = delete;
    cBrokerLink& operator=(const cBrokerLink&) = delete;

    // For poll(2). The descriptor changes with each connection; -1: none now.
    int fd() const;
    short events() const;
    // When turn() is due though nothing happens at the descriptor; milliseconds of the same clock.
    int64_t dueMs() const { return m_dueMs; }
    // What is to be done. revents: of poll(2), 0 if it said nothing. nowMs: a monotonic clock.
    void turn(short revents, int64_t nowMs);

    bool isUp() const { return m_state == eState::UP; }
    // With isUp(), or the one that is tried.
    std::string broker() const;
    // With isUp(): whether TLS went on with what was agreed on for the connection before.
    bool isResumed() const { return m_tlsSession.isResumed(); }

    // Gives a number by which it is acknowledged, or -1 if there is no connection or it is too
    // long.
    int publish(const std::string& topic, const std::string& payload, bool isRetained);
    // AT_MOST_ONCE is for reading many retained messages: a broker sends those that it wants to
    // have acknowledged a few at a time, and drops what is too much for its queue.
    enum class eDelivery { AT_MOST_ONCE, AT_LEAST_ONCE };
    int subscribe(const std::string& filter, eDelivery delivery = eDelivery::AT_LEAST_ONCE);

    // Ends the connection, if any, in order, and makes a new one with the next turn.
    void renew();
    // The same, but with the next broker, if there are several.
    void goOn();
    // Ends it in order; nothing happens any more. From a handler: at the end of the turn.
    void stop();

  private:
    enum class eState { PAUSING, CONNECTING, UP, STOPPED };
    enum class eRequest { NONE, RENEW, GO_ON, STOP };

    void connect(int64_t nowMs);
    std::string prepare();
    std::string prepareTls();
    void watch(int64_t nowMs);
    void followRequest(int64_t nowMs);
    void work(short revents);
    int read();
    bool isMoreThere() const;
    void fail(int64_t nowMs, const std::string& why);
    bool chooseNext();
    std::string reason(int error) const;

    static void onConnect(struct mosquitto*, void* self, int code, int flags);
    static void onMessage(struct mosquitto*, void* self, const struct mosquitto_message* message);
    static void onPublish(struct mosquitto*, void* self, int messageId);
    static void onSubscribe(struct mosquitto*, void* self, int messageId, int count,
                            const int* granted);
    static void onLog(struct mosquitto*, void* self, int level, const char* text);

    const sBrokerOptions m_options;
    const sIdentity m_identity;
    const sHandlers m_handlers;
    const sPlaces m_places;
    struct sFree {
        void operator()(struct mosquitto* connection) const;
    };
    cTlsSession m_tlsSession;                               // before the connection, which uses it
    std::unique_ptr<struct mosquitto, sFree> m_connection;  // one for each attempt
    eState m_state = eState::PAUSING;
    eRequest m_request = eRequest::NONE;
    bool m_isTurning = false;
    bool m_hasMore = false;  // is there to be read
    size_t m_broker = 0;     // which of the options is tried, or connected to
    // Of a name's addresses the library tries the first alone, which may be of IPv6 where nobody
    // answers: a second attempt uses IPv4 only. What has worked comes first.
    bool m_isIpv4Only = false;
    bool m_beginsWithIpv4 = false;
    cReconnectPause m_pause;
    int64_t m_dueMs = 0;
    int64_t m_sinceMs = 0;  // of the state
    int64_t m_nowMs = 0;
    std::string m_refusal;   // by which the broker refused the connection
    std::string m_tlsError;  // the library's last words about TLS
};

#endif
