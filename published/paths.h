#ifndef PUBLISHED_PATHS_H
#define PUBLISHED_PATHS_H

#include <string>

#include "published/slot.h"

// The paths that the daemon shares with other programs of the gateway. Every path is absolute.

// The daemon's name in the process list, pid files and the system log.
constexpr const char* DAEMON_NAME = "cellslotd";

constexpr const char* SHARED_FOLDER = "/tmp";  // every user can write to it
constexpr const char* STATUS_FOLDER = "/var/log";
constexpr const char* RUN_FOLDER = "/var/run";
constexpr const char* STORAGE_FOLDER = "/storage";
constexpr const char* SETTINGS_FOLDER = "/etc/vuk";
constexpr const char* OLD_SETTINGS_FOLDER = "/etc/zoq/wireless";

// The configuration file of a slot, and the one of older installations, which had one slot.
std::string slotConfigFile(const cSlotText& slot);
std::string oldConfigFile();
// The same with other folders.
std::string slotConfigFileIn(const std::string& folder, const cSlotText& slot);
std::string oldConfigFileIn(const std::string& folder);
// Whether a slot has an older path.
bool hasOldConfigFile(const cSlotText& slot);

// The PIN that unlocks the SIM. The file is kept.
std::string pinFilePath(const cSlotText& slot);
// A request: a new PIN, "enable" or "disable". The daemon empties the file before it acts.
std::string pinRequestPath(const cSlotText& slot);
// Both PINs of a change that is under way, for the daemon itself.
std::string pinChangePath(const cSlotText& slot);
// The PUK of a blocked SIM; the new PIN is in the request file. Emptied in the same way.
std::string pukFilePath(const cSlotText& slot);

// The status of a slot; slot 1 also writes it under the name without a slot.
constexpr const char* PLAIN_STATUS_FILE = "/var/log/wireless.cardstats";
std::string statusFilePath(const cSlotText& slot);
bool hasPlainStatusFile(const cSlotText& slot);
// One line each: the modem's serial number and its own telephone number.
constexpr const char* SERIAL_NUMBER_FILE = "/var/log/wireless.serialno";
constexpr const char* OWN_NUMBER_FILE = "/var/log/wireless.mdn";
// The operators that are known by name; in STATUS_FOLDER.
constexpr const char* CARRIER_LIST_NAME = "carrier_list.json";

// The pid file of a slot's daemon. It remains when the daemon ends.
std::string pidFilePath(const cSlotText& slot);
std::string pidFileIn(const std::string& folder, const std::string& program, const cSlotText& slot);
// The result of the last read of the configuration.
std::string configLookPath(const cSlotText& slot);
// What the last run logged, for the next start.
std::string loggedFilePath(const cSlotText& slot);

// The request for a recording of what passes on the ports (recording_request.h), and the recording:
// the file that grows, the one before it, and those that were kept when the daemon ended with
// status 3, number 1 the latest. Root's alone.
constexpr const char* RECORD_REQUEST_FOLDER = "/run/cellslot";
constexpr const char* RECORDING_FOLDER = "/var/log/cellslot";
constexpr int KEPT_RECORDINGS = 3;
std::string recordRequestPath(const cSlotText& slot);
std::string recordingPath(const cSlotText& slot);
std::string olderRecordingPath(const cSlotText& slot);
std::string keptRecordingPath(const cSlotText& slot, int number);

// The start of the host in which the daemon lists messages, for the daemon itself.
std::string listingNotePath(const cSlotText& slot);

// A program that requests a firmware update of the modem puts the trigger into this folder in
// SHARED_FOLDER; the daemon removes it and writes a line into the status file.
constexpr const char* FIRMWARE_FOLDER_NAME = "cellmodem_firmware";
std::string firmwareTriggerName(const cSlotText& slot);
std::string firmwareStatusPath(const cSlotText& slot);

// The log of other programs' AT commands.
constexpr const char* AT_LOG_FOLDER = "/storage/vault/system/logs/";
constexpr const char* AT_LOG_NAME = "at_cmdlog.txt";

#endif
