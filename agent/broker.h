#ifndef AGENT_BROKER_H
#define AGENT_BROKER_H

#include <string>

// The connection to the broker, as the agent uses it.
class iBroker {
  public:
    virtual ~iBroker() = default;
    virtual bool isUp() const = 0;
    // A number by which it is acknowledged; -1 if there is no connection.
    virtual int publish(const std::string& topic, const std::string& text, bool isRetained) = 0;
    virtual int subscribe(const std::string& topic) = 0;
    // Leaves this connection for another one: to the next broker, if there are several.
    virtual void goOn() = 0;
};

#endif
