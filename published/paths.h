#ifndef PUBLISHED_PATHS_H
#define PUBLISHED_PATHS_H

#include <string>

#include "published/slot.h"

// Where the daemon and other programs of the gateway meet. Every path is absolute.

// The name that processes, pid files and the system log have of the daemon.
constexpr const char* DAEMON_NAME = "cellslotd";

constexpr const char* SHARED_FOLDER = "/tmp";  // anybody may write to it
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
// Whether a slot has an older place at all.
bool hasOldConfigFile(const cSlotText& slot);

// The PIN that unlocks the SIM. It stays.
std::string pinFilePath(const cSlotText& slot);
// A request: a new PIN, "enable" or "disable". The daemon empties it when it takes it up.
std::string pinRequestPath(const cSlotText& slot);
// The PUK of a blocked SIM, with the new PIN in the file of requests. Emptied likewise.
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

// Where the daemon of a slot leaves its pid. It outlives the daemon.
std::string pidFilePath(const cSlotText& slot);
std::string pidFileIn(const std::string& folder, const std::string& program, const cSlotText& slot);
// What became of the last reading of the configuration.
std::string configLookPath(const cSlotText& slot);
// What the last run logged, for the next start.
std::string loggedFilePath(const cSlotText& slot);

// Whoever wants the modem's firmware updated puts the trigger into the folder, which is in
// SHARED_FOLDER; the daemon takes it away and leaves a line in the status file.
constexpr const char* FIRMWARE_FOLDER_NAME = "cellmodem_firmware";
std::string firmwareTriggerName(const cSlotText& slot);
std::string firmwareStatusPath(const cSlotText& slot);

// The log of other programs' AT commands.
constexpr const char* AT_LOG_FOLDER = "/storage/vault/system/logs/";
constexpr const char* AT_LOG_NAME = "at_cmdlog.txt";

#endif
