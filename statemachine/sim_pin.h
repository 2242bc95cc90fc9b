#ifndef STATEMACHINE_SIM_PIN_H
#define STATEMACHINE_SIM_PIN_H

#include <memory>
#include <string>

#include "include/device_records.h"
#include "platform/include/file_monitor.h"

// The SIM's PIN is managed through three small files of the slot: the current PIN, a request (a new
// PIN, "enable" or "disable") and a PUK. A request or a PUK is acted on once each time its file is
// written; when the PIN is sent is in pin_rule.h. Every operation leaves its outcome in the SIM
// record in one line, PINs included: administrators read there what was wrong with them.

// Follows what is processed, but is not asked: a PIN outlives the process that watches its file.
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorCurrentCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorNewCpinFile;
extern std::unique_ptr<cFileMonitor> g_Cp_MonitorPukFile;

// Starts to watch the three files of the record.
void createCpinMonitors(const sSimInfo& sim);

// Applies a request when there is one; the SIM must be ready. eSUCCESS, or the result of the
// operation that was asked for.
eGeneralErrors manageCpin(int port, sSimInfo& sim);

// eSUCCESS, eFAILURE when the PIN is not to be sent or the PUK file was not written since its use,
// eERROR_DEVICE_NOT_CPIN_LOCKED or _NOT_PUK_LOCKED, _CPIN_FORMAT_INVALID, _PUK_FORMAT_INVALID,
// _UNLOCK_CPIN_FAILED or _UNLOCK_PUK_FAILED when the modem answered ERROR,
// _ENABLE_CPIN_FAILED when it refused the PIN, _RESPONSE_TIMEOUT.
eGeneralErrors maybeUnlockSimPin(int port, sSimInfo& sim);
eGeneralErrors maybeUnlockSimPuk(int port, sSimInfo& sim);

// Switches the PIN lock on first where it is off. eSUCCESS, _CPIN_FORMAT_INVALID, _SIM_NOT_READY,
// _RESPONSE_TIMEOUT, _SET_CPIN_FAILED (ERROR), _CPIN_BAD_PASSWORD, _CHANGE_CPIN_FAILED.
eGeneralErrors changeCpinPassword(int port, sSimInfo& sim, const std::string& currentPin,
                                  const std::string& newPin);

// As changeCpinPassword, but _ENABLE.../_DISABLE_CPIN_FAILED; an invalid PIN is
// _CPIN_FORMAT_INVALID to enable and eFAILURE to disable, ERROR is _SET_CPIN_FAILED to enable and
// _CLEAR_CPIN_FAILED to disable.
eGeneralErrors enableCpinPassword(int port, sSimInfo& sim, const std::string& pin);
eGeneralErrors disableCpinPassword(int port, sSimInfo& sim, const std::string& pin);

// 4 to 8 digits; exactly 8 digits.
int verifyCpinFormat(const std::string& pin);
int verifyPukFormat(const std::string& puk);

// The first 16 bytes of a file without white space; empty when there is none.
std::string readCpinFile(const std::string& path);
// On the disk when it returns true. False when the file keeps what is in it: in a folder that can
// only be read, or on a full disk.
bool clearCpinFile(const std::string& path);

// Forgets monitors and what is known of the PIN outside the store.
void resetSimPinState();

#endif
