#ifndef STATEMACHINE_CUSTOM_AT_LOG_H
#define STATEMACHINE_CUSTOM_AT_LOG_H

#include <string>

#include "include/device_records.h"

// The folder of the AT command log.
extern std::string g_s_at_cmd_log_dir;

// Of a longer output the log keeps only so many bytes.
constexpr size_t AT_LOG_OUTPUT_MAX = 256;

// The record of one command, for people.
std::string prettifyAtCommand(const std::string& command, const std::string& output);

// Adds a record to the log, which is bounded to 100 kB and one old file. What cannot be written is
// told in the system log and lost.
void writeAtCmdLog(const std::string& command, const std::string& output, const sDeviceInfo& device,
                   const std::string& logDirectory);

#endif
