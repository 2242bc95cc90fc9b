#ifndef OBSERVED_READING_H
#define OBSERVED_READING_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "cli/base/places.h"
#include "cli/status/status_file.h"
#include "observed/source.h"

// Totals that only grow, until what counts them starts again.
struct sCounters {
    std::optional<uint64_t>
        interfaceIndex;                     // another one: the interface was made anew, with zeroes
    std::optional<uint64_t> receivedBytes;  // of the network interface
    std::optional<uint64_t> sentBytes;
    std::optional<uint64_t> receivedMessages;  // since the daemon's start
    std::optional<uint64_t> sentMessages;
    std::optional<uint64_t> failedMessages;
};

// What counts between two readings. A smaller number has begun at zero again. Nothing is counted if
// one of them is not known.
uint64_t counted(const std::optional<uint64_t>& before, const std::optional<uint64_t>& now);
// The counters by which the next reading is compared: those that are not known now keep their
// value.
sCounters nextCounters(const sCounters& before, const sCounters& now);

// What one status file says, as far as the history needs it. An empty text is not known.
struct sReading {
    std::array<double, SOURCES> values;  // gauges and shares; NaN: not known
    sCounters counters;
    bool isConnected = false;
    std::string sim;  // ICCID
    // Why it is not connected, by cli/status/diagnosis.
    std::string cause;
    std::string causeText;
    // What events are made of.
    std::string registration;
    std::string network;
    std::string technology;
    std::string cell;
    std::string simStatus;
    std::string pinOutcome;
    std::string modem;
    std::string port;    // the modem's AT port
    std::string portId;  // which device node that is: a modem that starts gets a new one
    std::string temperatureLevel;
    int daemonPid = 0;

    sReading();
};

// The cause while data is switched off on purpose: that is no outage.
constexpr const char* CAUSE_DATA_OFF = "data_off";

sReading readSlot(const sPlaces& places, int slot, const sStatusRecord& record);

#endif
