#ifndef INCLUDE_CONFIG_OPTIONS_H
#define INCLUDE_CONFIG_OPTIONS_H

#include <cstdint>
#include <string>

#include "include/modem_types.h"

// Whether a data session is wanted, and why not.
enum eCfgDataStatus : int {
    eCONF_DATA_CONNECT_UNKNOWN = -1,
    eCONF_DATA_CONNECT_DISABLED = 0,
    eCONF_DATA_CONNECT_ENABLED = 1,
    eCONF_DATA_CONNECT_HOLDOFF = 2,
    eCONF_DATA_CONNECT_TEMP_DISABLED = 3,
    eCONF_DATA_CONNECT_TEMP_ENABLED = 4,
    eCONF_DATA_CONNECT_TEMP_WAIT_SUBSYSTEM = 5,
    eCONF_DATA_CONNECT_TEMP_MODEM_OFF = 6,
    eCONF_DATA_CONNECT_MODEM_OFF = 7,  // by configuration; reported with the text of 6
};

struct sDataDirective {
    eCfgDataStatus value = eCONF_DATA_CONNECT_ENABLED;
    std::string text = "eCONF_DATA_CONNECT_ENABLED";
};

// Radio technology preference (CM_DATA_SPEED).
enum eNetPref : int {
    eNET_PREF_IGNORE = 0,
    eNET_PREF_2G = 1,
    eNET_PREF_3G = 2,
    eNET_PREF_2G_3G = 3,
    eNET_PREF_4G = 4,
    eNET_PREF_2G_4G = 5,
    eNET_PREF_3G_4G = 6,
    eNET_PREF_2G_3G_4G = 7,
    eNET_PREF_AUTO = 255,
};

// PDP authentication (CM_AUTH_TYPE), the number of AT#PDPAUTH.
enum ePdpAuthType : int {
    ePDP_AUTH_NOT_USED = -1,
    ePDP_AUTH_OFF = 0,
    ePDP_AUTH_PAP = 1,
    ePDP_AUTH_CHAP = 2,
};

// The configuration in force. The comment of a field names its key.
struct sConfigFileOpts {
    uint64_t debugMode = 0;        // DEBUG_MODE
    bool configRead = false;       // a changed file has been parsed
    bool syncTime = true;          // CM_SYNC_TIME
    bool roamingAllowed = true;    // CM_ROAMING
    std::string apn;               // CM_APN, for SIM slot 1
    std::string apn2;              // CM_APN2, for SIM slot 2
    int32_t enableInterface = 0;   // CM_ENABLE_INTERFACE: 1 on, 0 off, -1 modem off
    sDataDirective dataDirective;  // CM_ENABLE_INTERFACE, then what isDataConnectionAllowed says
    bool defaultRoute = true;      // CM_DEFAULTROUTE
    uint32_t spare = 0;            // no key
    std::string profileContext = "1";            // no key: the PDP context id in every command
    uint32_t apnDirective = 0;                   // no key: 0 normal, 1 write the APN once
    std::string username;                        // CM_USERNAME
    std::string password;                        // CM_PASSWORD
    int32_t authType = ePDP_AUTH_NOT_USED;       // CM_AUTH_TYPE
    bool netPrefChanged = false;                 // no key
    int32_t firmwareSlot = eFIRMWARE_SLOT_AUTO;  // CM_FW_SLOT
    eNetPref netPref = eNET_PREF_IGNORE;         // CM_DATA_SPEED
    std::string netPrefText;                     // CM_DATA_SPEED, as read
    bool useDns = true;                          // CM_USE_DNS
    int32_t mtu = 1500;                          // CM_MTU, bytes, 60 to 1500
    std::string operatorMode = "0";        // CM_OPERATOR_MODE: "0" automatic, "1" or "4" manual
    std::string operatorName;              // CM_OPERATOR: PLMN number or name
    int32_t bandMode = eBAND_MODE_AUTO;    // CM_BAND_MODE
    std::string band3gText;                // CM_3G_BAND
    std::string band4gText;                // CM_4G_BAND
    uint32_t bandGsm = 0;                  // no key: GSM band number of AT#BND
    uint32_t band3gBits = 0;               // CM_3G_BAND, bit n: UMTS band number n
    uint64_t band4gBits = 0;               // CM_4G_BAND, bit n - 1: LTE band n
    std::string md5;                       // of the last parsed file
    int32_t simSlot = 0;                   // CM_SIM_SLOT: 1 or 2, 0 when no file was read
    bool gpsEnable = true;                 // CM_GPS_ENABLE
    bool ptpInterface = false;             // CM_PTP_INT
    int32_t ipFamily = eIP_FAMILY_IPV4V6;  // CM_IPFAMILY
};

// Stores a directive with its text; a value outside the enumeration is stored as UNKNOWN.
void setDataDirective(sConfigFileOpts& config, eCfgDataStatus value);

#endif
