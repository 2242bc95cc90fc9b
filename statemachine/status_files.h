#ifndef STATEMACHINE_STATUS_FILES_H
#define STATEMACHINE_STATUS_FILES_H

#include <string>

#include "include/config_options.h"

struct sDeviceInfo;

// The daemon's view, published in files under /var/log and in the key-value store.

extern const std::string g_s_cardstats_path;
extern const std::string g_s_serialno_path;
extern const std::string g_s_mdn_path;

// Writes the status when forced, or when the last write was 2 seconds ago.
void writeOutStatusFiles(const sDeviceInfo& device, const sConfigFileOpts& config, bool force);

// Writes everything: the slot's file, for slot 1 also the one without slot, serial number and own
// number, and each key into the store. A key that cannot be stored is logged; the rest goes on.
void doWriteOutStatusFiles(const sDeviceInfo& device, const sConfigFileOpts& config);

// Writes one line to a file: with append after the present content, otherwise instead of it.
void updateStatusFile(const std::string& path, const std::string& line, bool& append);

// For tests: as if nothing had been published.
void resetStatusFilesState();

#endif
