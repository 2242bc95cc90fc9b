#ifndef ATCMD_PACKET_DATA_H
#define ATCMD_PACKET_DATA_H

#include <string>

#include "include/config_options.h"
#include "include/modem_types.h"
#include "include/result_codes.h"

struct sDeviceInfo;
struct sNetworkInfo;

// Packet domain and PDP contexts (3GPP TS 27.007 section 10.1). cid is the context id as text. All
// but setCGATT and getCGDCONT return a CME error as its number.

ePortReturn getCGATT(int port, sNetworkInfo& network);
void parseCGATT(const std::string& response, sNetworkInfo& network);
ePortReturn setCGATT(const int& port, const bool& attach);

// active: whether context cid is active. activeList: the ids of all active contexts, a comma after
// each.
ePortReturn getCGACT(int port, bool& active, const std::string& cid, std::string& activeList);
void parseCGACT(const std::string& response, bool& active, const std::string& cid,
                std::string& activeList);
ePortReturn setCGACT(int port, const std::string& cid, bool activate);

// address changes only if the result is ePORT_OK; it is empty if the context has none.
ePortReturn getCGPADDR(int port, const std::string& cid, std::string& address);
std::string parseCGPADDR(const std::string& cid, const std::string& response);

// Addresses, gateway and name servers that the network assigned. The first IPv4 address is stored
// as the address of the device.
ePortReturn getCGCONTRDP(int port, sDeviceInfo& device, const std::string& cid);
void parseCGCONTRDP(const std::string& response, sDeviceInfo& device);

ePortReturn setNcmMode(int port, const std::string& cid, bool enable);

// ePORT_CONNECT if the modem entered data mode.
ePortReturn setCgdataMode(int port, const std::string& cid);
bool parseCgdataMode(const std::string& response);

// The context list, and the APN of the configured context.
ePortReturn getCGDCONT(int port, sDeviceInfo& device, const sConfigFileOpts& config);
void parseCGDCONT(const std::string& response, sDeviceInfo& device, const sConfigFileOpts& config);
ePortReturn setCGDCONT(int port, const std::string& cid, const std::string& apn,
                       eIPvFamilyPref family);

ePortReturn setPDPAUTH(int port, const sConfigFileOpts& config);
ePortReturn setIMSPDPAPN(int port);

#endif
