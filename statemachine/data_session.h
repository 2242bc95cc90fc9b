#ifndef STATEMACHINE_DATA_SESSION_H
#define STATEMACHINE_DATA_SESSION_H

#include "include/config_options.h"
#include "include/result_codes.h"
#include "platform/include/timer.h"

struct sDeviceInfo;

// The packet-data session on the configured context.

// Starts the session unless an attempt failed within the last 30 seconds
// (eERROR_DEVICE_NETWORK_DELAY_TIMER_RUNNING). Otherwise as startDataSession, whose result is kept
// in the record.
eGeneralErrors maybeStartDataSession(const int& port, sDeviceInfo& device,
                                     const sConfigFileOpts& config, cTimer& delayTimer);

// Attaches, activates the context, reads its addresses, enters raw-IP mode and sets the addresses
// on the interface. eSUCCESS, _RESPONSE_TIMEOUT, a code of the 200s that names the step, or
// eERROR_DEVICE_NETWORK_SETUP_FAILURE. A failed start does not undo its earlier steps.
eGeneralErrors startDataSession(const int& port, sDeviceInfo& device,
                                const sConfigFileOpts& config);

// Sends nothing; always eSUCCESS.
eGeneralErrors stopDataSession(int port, sDeviceInfo& device, const sConfigFileOpts& config);

// Takes the interface down and forgets the addresses; the modem keeps its context. Results as for
// downNetworkInterface.
eGeneralErrors disconnectNetwork(int port, sDeviceInfo& device, sConfigFileOpts& config);

// Whether the session may go on: the modem is registered or lost its registration less than 15
// seconds ago, the context is still active, and its IPv4 address, if IPv4 is wanted, has not
// changed. Sets the connection status.
bool isDataConnectionGood(int port, sDeviceInfo& device, const sConfigFileOpts& config);

// eERROR_DEVICE_REQUIRES_RESET when a ready SIM has had no registration, and no denial, for the
// time of the timer; else eSUCCESS.
eGeneralErrors checkNoServiceTimer(const sDeviceInfo& device, cTimer& noServiceTimer);

// Whether the registration permits a session: at home, or roaming if that is allowed.
bool checkNetworkRegistration(const sDeviceInfo& device, const sConfigFileOpts& config);

// eSUCCESS or eERROR_DEVICE_RESPONSE_TIMEOUT.
eGeneralErrors networkDeregister(const int& port, const sConfigFileOpts& config);

// Detaches a modem that is attached; a refusal is not a failure. eSUCCESS or
// eERROR_DEVICE_RESPONSE_TIMEOUT.
eGeneralErrors packetDomainDetach(const int& port, sDeviceInfo& device);

// For tests: forgets that the context was once active, and what was logged last.
void resetDataSessionState();

#endif
