#ifndef FLEET_ORDER_H
#define FLEET_ORDER_H

#include <ctime>
#include <string>
#include <vector>

#include "fleet/gateway.h"
#include "mqtt/command.h"

// What the operator asks, before it is made into a command for each gateway.

// The words of "send GATEWAY... COMMAND...": up to the first that is a command are names. A gateway
// that is named like one is meant by a pattern, as [d]ata.
struct sSendWords {
    std::vector<std::string> names;
    std::vector<std::string> command;
};
sSendWords splitWords(const std::vector<std::string>& words);

struct sOrderOptions {
    int slot = 0;  // 0: the only one of each gateway
    std::string since;
    std::string view;
    unsigned confirmS = 0;  // 0: as usual
};

// "data on", "sms NUMBER TEXT", "config FILE", ...: checked as the gateway checks it. Throws a
// cFailure that says what is expected.
sCommand readOrder(const std::vector<std::string>& words, const sOrderOptions& options);

// The order for this gateway. Throws a cFailure if it has several slots and none is chosen.
sCommand commandFor(const sGateway& gateway, const sCommand& order, const std::string& id);

#endif
