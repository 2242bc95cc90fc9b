#ifndef STATEMACHINE_NETWORK_INTERFACE_H
#define STATEMACHINE_NETWORK_INTERFACE_H

#include <string>

#include "include/config_options.h"
#include "include/device_records.h"

// The host's network interface. It is set up by the host's own setup_cellint.sh, found through the
// daemon's PATH; the interface is the one of the command line.

extern const std::string g_s_sys_class_net;
extern const std::string g_s_file_tx_bytes_end;
extern const std::string g_s_file_rx_bytes_end;

// As upNetworkInterface.
eGeneralErrors setupNetwork(const sNetworkInfo& network, const sConfigFileOpts& config);

// Hands the addresses of the dynamic entries to the interface. eSUCCESS, or
// eERROR_DEVICE_NETWORK_SETUP_FAILURE when the script failed, or when the interface name or an
// address of the network is not one: then nothing is run.
eGeneralErrors upNetworkInterface(const sNetworkInfo& network, const sConfigFileOpts& config);

// Takes the interface down. eSUCCESS or eERROR_DEVICE_NETWORK_TEARDOWN_FAILURE.
eGeneralErrors downNetworkInterface();

// Every five minutes one ping that nobody waits for, so that the network keeps the context. The
// first call only starts the time.
void networkKeepAlive();

// Whether the byte counters of the interface changed within the last 2 seconds. directory: the
// folder of the network classes. testing: forget an earlier change.
bool checkNetworkTxRx(const std::string& directory, bool testing);

// Forgets counters and traffic timer.
void resetNetworkInterfaceState();

#endif
