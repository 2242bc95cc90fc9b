#ifndef ATCMD_PACKET_DATA_H
#define ATCMD_PACKET_DATA_H

#include <string>

#include "include/config_options.h"
#include "include/device_records.h"

// Packet domain and PDP contexts (3GPP TS 27.007 section 10.1). A context is named by its id as
// text. A CME error is returned as its number except by setCGATT and getCGDCONT.

ePortReturn getCGATT(int port, sNetworkInfo& network);
void parseCGATT(const std::string& response, sNetworkInfo& network);
ePortReturn setCGATT(const int& port, const bool& attach);

// active: the context cid. activeList: the ids of all active contexts, a comma behind each.
ePortReturn getCGACT(int port, bool& active, const std::string& cid, std::string& activeList);
void parseCGACT(const std::string& response, bool& active, const std::string& cid,
                std::string& activeList);
ePortReturn setCGACT(int port, const std::string& cid, bool activate);

// address is left alone unless the result is ePORT_OK; it is empty when the context has none.
ePortReturn getCGPADDR(int port, const std::string& cid, std::string& address);
std::string parseCGPADDR(const std::string& cid, const std::string& response);

// Addresses, gateway and name servers that the network assigned. The first IPv4 address becomes the
// device record's.
ePortReturn getCGCONTRDP(int port, sDeviceInfo& device, const std::string& cid);
void parseCGCONTRDP(const std::string& response, sDeviceInfo& device);

ePortReturn setNcmMode(int port, const std::string& cid, bool enable);

// ePORT_CONNECT when the modem entered data mode.
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
