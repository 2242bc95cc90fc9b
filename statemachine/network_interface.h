#ifndef STATEMACHINE_NETWORK_INTERFACE_H
#define STATEMACHINE_NETWORK_INTERFACE_H

#include <string>

#include "include/config_options.h"
#include "include/result_codes.h"

struct sNetworkInfo;

// The host's network interface, as named on the command line. The host's setup_cellint.sh, found
// through the daemon's PATH, sets it up.

extern const std::string g_s_sys_class_net;
extern const std::string g_s_file_tx_bytes_end;
extern const std::string g_s_file_rx_bytes_end;

// Results as for upNetworkInterface.
eGeneralErrors setupNetwork(const sNetworkInfo& network, const sConfigFileOpts& config);

// Sets the addresses of the dynamic entries on the interface. eSUCCESS, or
// eERROR_DEVICE_NETWORK_SETUP_FAILURE when the script failed. If the interface name or an address
// from the network is not valid, it fails without running the script.
eGeneralErrors upNetworkInterface(const sNetworkInfo& network, const sConfigFileOpts& config);

// Takes the interface down. eSUCCESS or eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE.
eGeneralErrors downNetworkInterface();

// Sends a ping every five minutes, without waiting for the answer, so that the network keeps the
// context. The first call only starts the timer.
void networkKeepAlive();

// Whether the byte counters of the interface changed within the last 2 seconds. directory: the
// folder of the network classes. testing: forgets an earlier change.
bool checkNetworkTxRx(const std::string& directory, bool testing);

// For tests: forgets counters and traffic timer.
void resetNetworkInterfaceState();

#endif
