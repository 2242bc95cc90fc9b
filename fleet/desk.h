#ifndef FLEET_DESK_H
#define FLEET_DESK_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fleet/fleet_config.h"
#include "mqtt/broker_link.h"
#include "mqtt/topics.h"

// The operator's end of the line to the broker: subscribes, again after each loss, and knows when
// all that the broker keeps has come.
class cDesk {
  public:
    struct sSubscription {
        std::string filter;
        cBrokerLink::eDelivery delivery = cBrokerLink::eDelivery::AT_MOST_ONCE;
    };
    using tMessage = std::function<void(const sTopic& topic, const sIncomingMessage& message)>;

    // session: a name by which the broker keeps what comes while nobody listens; empty: it does
    // not.
    cDesk(const sFleetConfig& config, const sPlaces& places, const std::string& session,
          std::vector<sSubscription> subscriptions, tMessage message);

    // Until the broker has taken every subscription. Throws a cFailure if there is no connection,
    // after each broker was tried twice, or if one is refused. False if a signal came
    // (cInterruption).
    bool open();
    // Until all retained messages have come, too.
    bool collect();
    // The broker's answer to the last subscription comes after the retained messages, but for
    // brokers that send these later: so much longer nothing may come.
    static constexpr int64_t QUIET_MS = 250;

    // Waits for the broker, at most so long, or until other can be read. Returns at a signal.
    void turn(int milliseconds, int other = -1);

    bool isConnected() const { return m_link.isUp(); }
    // The broker has answered every subscription.
    bool isReady() const {
        return isConnected() && m_pending.empty() && (m_again.empty() || !m_refused.empty());
    }
    // A subscription that the broker refuses again and again, and is asked for now and then; empty:
    // it allows all.
    const std::string& refused() const { return m_refused; }
    // Why nothing comes from the broker; empty if there is nothing to say.
    std::string trouble() const;
    std::string broker() const { return m_link.broker(); }

    // As cBrokerLink::publish. acknowledged is called when the broker has it.
    int publish(const std::string& topic, const std::string& payload);
    void onAcknowledged(std::function<void(int)> handler) { m_acknowledged = std::move(handler); }
    // After a connection was lost and is there again.
    void onBack(std::function<void()> handler) { m_back = std::move(handler); }

  private:
    cBrokerLink::sHandlers handlers();
    void subscribeAll();
    void subscribe(const sSubscription& wanted);
    void subscribeAgain();
    void subscribed(int messageId, bool isGranted);
    void refuse(const sSubscription& wanted);
    void take(const sIncomingMessage& message);

    const std::vector<sSubscription> m_subscriptions;
    const tMessage m_message;
    std::function<void(int)> m_acknowledged;
    std::function<void()> m_back;
    std::map<int, const sSubscription*> m_pending;  // that the broker has not answered
    std::vector<const sSubscription*> m_again;      // that it refused and is asked for again
    int64_t m_againMs = 0;
    int m_refusals = 0;     // times that it was asked again
    std::string m_refused;  // a filter that it does not allow
    std::string m_trouble;
    size_t m_failures = 0;  // attempts since the last connection
    size_t m_received = 0;
    bool m_wasReady = false;
    size_t m_brokers;
    cBrokerLink m_link;  // last: its handlers use all of this
};

// Milliseconds of a monotonic clock.
int64_t monotonicMs();

#endif
