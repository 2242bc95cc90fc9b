#ifndef CLI_STATUS_SLOT_REPORT_H
#define CLI_STATUS_SLOT_REPORT_H

#include <ctime>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/places.h"
#include "cli/status/status_file.h"
#include "include/config_options.h"
#include "published/status_values.h"

// A status older than this means more than a daemon that waits for its modem: sending a message or
// listing the networks can take a minute.
constexpr long long STALE_AFTER_S = 90;
// An age above this is worth mentioning: the daemon writes every two seconds.
constexpr long long FRESH_S = 10;

// The time of a report.
struct sMoment {
    time_t now = 0;
    unsigned uptimeS = 0;
};

sMoment currentMoment();

// Whether data is wanted now, by the daemon's rules, and what decides that.
struct sDataDirectiveReport {
    eCfgDataStatus value = eCONF_DATA_CONNECT_UNKNOWN;
    std::string why;
    std::string configPath;  // without the root of the places
    bool configRead = false;
    bool roamingAllowed = true;  // valid if the configuration was read
};

// Everything that is known about a slot without asking the daemon.
struct sSlotReport {
    int slot = 0;
    bool daemonRuns = false;
    int daemonPid = 0;  // 0 when none runs
    sStatusFile file;
    std::optional<long long> ageS;  // negative: the time of writing is in the future
    bool portExists = false;        // the modem's AT port
    std::vector<std::string> addresses;
    sDataDirectiveReport data;

    bool isGood() const { return file.state == eStatusFile::GOOD; }
    bool isStale() const { return ageS && *ageS > STALE_AFTER_S; }
    // The session as in the file, and as a running daemon reports it.
    bool saysConnected() const { return file.record.text(STATUS_QMI_STATE) == SESSION_CONNECTED; }
    bool isConnected() const { return daemonRuns && saysConnected(); }
};

// What decides about data, for who may not read the configuration: what the daemon has published of
// it, and the override.
sDataDirectiveReport publishedDirective(const sPlaces& places, int slot, int daemonPid);

sSlotReport reportSlot(const sPlaces& places, int slot, const sMoment& moment);

// Slots that have a status file, a pid file of a running or ended daemon, or a configuration.
std::vector<int> findSlots(const sPlaces& places);

#endif
