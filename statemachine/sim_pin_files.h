#ifndef STATEMACHINE_SIM_PIN_FILES_H
#define STATEMACHINE_SIM_PIN_FILES_H

#include <memory>
#include <string>

#include "include/device_records.h"
#include "platform/include/file_monitor.h"

// The three files of the PIN and their monitors, and what unlocking and requests share.

// Follows what is processed, but is not asked: a PIN outlives the process that watches its file.
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorCurrentCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorNewCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorPukFile;

// How an operation ended, and the line that says so.
struct sPinOutcome {
    eGeneralErrors result;
    std::string text;
};

// Leaves the line in the record and in the log.
eGeneralErrors leaveOutcome(sSimInfo& sim, const sPinOutcome& outcome);

// Whether the file was written since it was used last; false without a monitor.
bool isChanged(const std::unique_ptr<cFileMonitor>& monitor);
// What is written between the begin and the end of its use counts as seen.
void markProcessing(const std::unique_ptr<cFileMonitor>& monitor, bool begins);

// What the file asks for. What is written after this call is another request, also while the SIM
// still works on this one.
std::string readRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path);

// 4 to 8 digits; exactly 8 digits.
int verifyCpinFormat(const std::string& pin);
int verifyPukFormat(const std::string& puk);

// The first 16 bytes of a file without white space; empty when there is none.
std::string readCpinFile(const std::string& path);
// On the disk when it returns true. False when the file keeps what is in it: in a folder that can
// only be read, or on a full disk.
bool clearCpinFile(const std::string& path);

// As clearCpinFile; the empty file is no request.
bool clearRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path);

// The PIN that unlocks the SIM from now on.
void writeCurrentCpin(const sSimInfo& sim, const std::string& pin);

// "CME error 'SIM BUSY' (14)"; the text is empty for a number that is not known.
std::string cmeText(ePortReturn result);

#endif
