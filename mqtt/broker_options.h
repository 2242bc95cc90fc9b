#ifndef MQTT_BROKER_OPTIONS_H
#define MQTT_BROKER_OPTIONS_H

#include <string>
#include <vector>

#include "cli/base/places.h"
#include "cli/base/settings_file.h"

// Where the broker is and how a program shows it who it is.

struct sBrokerAddress {
    std::string host;  // name, IPv4 or IPv6 address
    int port = 0;
};
constexpr int PORT_TLS = 8883;
constexpr int PORT_PLAIN = 1883;

struct sBrokerOptions {
    std::vector<sBrokerAddress> brokers;  // tried in turn; a port of 0: the usual one
    bool usesTls = true;
    std::string caFile;  // certificates of the authorities that may have signed the broker's
    std::string certFile, keyFile;  // of this client
    std::string user, passwordFile;
    std::string pskIdentity, pskFile;  // a pre-shared key in hexadecimal, instead of certificates
    int keepAliveS = 300;              // 10 to 3600
};

// The names of the settings, for messages: "BROKER, TLS, ...".
std::string brokerSettingNames();

// Takes one setting. False if it is none of these. Throws a cFailure that names file, line and what
// is expected if the value is wrong.
bool setBrokerOption(const sSetting& setting, const std::string& file, sBrokerOptions& options);

// What is wrong with all of them together, each a sentence: what is missing, what excludes what,
// files that cannot be read. Empty if all is well.
std::vector<std::string> brokerProblems(const sBrokerOptions& options, const sPlaces& places);

// "gateway.example.com:8883"; an IPv6 address in brackets.
std::string brokerText(const sBrokerAddress& broker, bool usesTls);
int brokerPort(const sBrokerAddress& broker, bool usesTls);

// The first line of a file with a password or a key. Throws a cFailure that does not show it.
std::string readSecretLine(const std::string& path);

#endif
