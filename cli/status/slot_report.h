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

// Older than this and the daemon is not just waiting for its modem: sending a message may take a
// minute, reading the list of networks too.
constexpr long long STALE_AFTER_S = 90;
// Older than this is worth a word: the daemon writes every two seconds.
constexpr long long FRESH_S = 10;

// When a report is made.
struct sMoment {
    time_t now = 0;
    unsigned uptimeS = 0;
};

sMoment currentMoment();

// Whether data is wanted now, by the daemon's own rules, and what decides it.
struct sDataDirectiveReport {
    eCfgDataStatus value = eCONF_DATA_CONNECT_UNKNOWN;
    std::string why;
    std::string configPath;  // without the root of the places
    bool configRead = false;
    bool roamingAllowed = true;  // when the configuration was read
};

// All that can be found out about a slot without asking the daemon.
struct sSlotReport {
    int slot = 0;
    bool daemonRuns = false;
    int daemonPid = 0;  // 0 when none runs
    sStatusFile file;
    std::optional<long long> ageS;  // negative: written in what is now the future
    bool portExists = false;        // the modem's AT port
    std::vector<std::string> addresses;
    sDataDirectiveReport data;

    bool isGood() const { return file.state == eStatusFile::GOOD; }
    bool isStale() const { return ageS && *ageS > STALE_AFTER_S; }
    // What the file says of the session, and a daemon that still says it.
    bool saysConnected() const { return file.record.text(STATUS_QMI_STATE) == SESSION_CONNECTED; }
    bool isConnected() const { return daemonRuns && saysConnected(); }
};

sSlotReport reportSlot(const sPlaces& places, int slot, const sMoment& moment);

// Slots that have a status file, a daemon or one that has ended, or a configuration of their own.
std::vector<int> findSlots(const sPlaces& places);

#endif
