#ifndef STATEMACHINE_SIM_PIN_FILES_H
#define STATEMACHINE_SIM_PIN_FILES_H

#include <memory>
#include <string>

#include "include/result_codes.h"
#include "platform/include/file_monitor.h"

struct sSimInfo;

// The three files of the PIN and their monitors, and what unlocking and requests share.

// The first monitor is kept up to date but not asked: a PIN outlives the process that watches its
// file, so pin_record decides.
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorCurrentCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorNewCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorPukFile;

// How an operation ended, and the line that says so.
struct sPinOutcome {
    eGeneralErrors result;
    std::string text;
};

// Stores the line in the record and logs it. Returns the result.
eGeneralErrors leaveOutcome(sSimInfo& sim, const sPinOutcome& outcome);

// Whether the file was written since its last use; false without a monitor.
bool isChanged(const std::unique_ptr<cFileMonitor>& monitor);
// Call this at the begin and at the end of a use: what is written in between counts as seen.
void markProcessing(const std::unique_ptr<cFileMonitor>& monitor, bool begins);

// Reads the request. Text that is written after this call is another request, even while the SIM
// still works on this one.
std::string readRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path);

// A PIN has 4 to 8 digits, a PUK exactly 8.
int verifyCpinFormat(const std::string& pin);
int verifyPukFormat(const std::string& puk);

// The first 16 bytes of a file without white space; empty when there is none.
std::string readCpinFile(const std::string& path);
// Empties the file; true when the disk has it. False when the file keeps its content, in a
// read-only folder or on a full disk.
bool clearCpinFile(const std::string& path);

// As clearCpinFile. The empty file does not count as a request.
bool clearRequest(const std::unique_ptr<cFileMonitor>& monitor, const std::string& path);

// Writes the text and a line end; false when it is not on the disk.
bool writePinFile(const std::string& path, const std::string& text);

// Writes the PIN that unlocks the SIM from now on; false when it is not on the disk.
bool writeCurrentCpin(const sSimInfo& sim, const std::string& pin);

// "CME error 'SIM BUSY' (14)"; the text is empty for a number that is not known.
std::string cmeText(ePortReturn result);

#endif
