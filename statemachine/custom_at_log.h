#ifndef STATEMACHINE_CUSTOM_AT_LOG_H
#define STATEMACHINE_CUSTOM_AT_LOG_H

#include <string>

struct sDeviceInfo;

// The folder of the AT command log.
extern std::string g_s_at_cmd_log_dir;

// The most bytes of an output that the log keeps.
constexpr size_t AT_LOG_OUTPUT_MAX = 256;

// The record of one command, for people.
std::string prettifyAtCommand(const std::string& command, const std::string& output);

// Adds a record to the log, which is limited to 100 kB and one old file. A record that cannot be
// written is lost; the system log reports it.
void writeAtCmdLog(const std::string& command, const std::string& output, const sDeviceInfo& device,
                   const std::string& logDirectory);

#endif
