#ifndef FLEET_FLEET_CONFIG_H
#define FLEET_FLEET_CONFIG_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "mqtt/broker_options.h"

constexpr const char* FLEET_CONFIG_FILE = "/etc/cellslot/fleet.conf";

constexpr const char* PAGE_ADDRESS = "127.0.0.1:8089";

struct sFleetConfig {
    std::string file;  // that was read; empty: none
    sBrokerOptions broker;
    std::string by;  // who asks the gateways; they log it
    // Of the page.
    std::string listen = PAGE_ADDRESS;
    std::vector<std::string> hosts;  // names by which browsers may ask, in lower case
};

// What the command line says.
struct sConfigChoice {
    std::string file;    // instead of the usual ones
    std::string broker;  // HOST[:PORT], instead of BROKER
};

// The file is the given one, else ~/.config/cellslot/fleet.conf if there is one, else
// /etc/cellslot/fleet.conf. Throws a cFailure that says what is wrong.
sFleetConfig readFleetConfig(const sPlaces& places, const sConfigChoice& choice);

// "anna@desk": user and host.
std::string callerName();

#endif
