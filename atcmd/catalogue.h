#ifndef ATCMD_CATALOGUE_H
#define ATCMD_CATALOGUE_H

#include <map>
#include <string>

#include "include/modem_types.h"
#include "include/result_codes.h"

// Every AT command that the daemon sends, and the texts of the codes that the modem and the daemon
// use. 3GPP TS 27.007 and 27.005, and the modem maker's own commands ('#', '$').

enum eAtCmd : int {
    eAT_CMD_AT = 0,
    eAT_CMD_GMM = 1,
    eAT_CMD_ATI3 = 2,
    eAT_CMD_CGSN = 3,
    eAT_CMD_CGMR = 4,
    eAT_CMD_ATI5 = 5,
    eAT_CMD_CSQ = 6,
    eAT_CMD_CREG_GET = 7,
    eAT_CMD_CREG_SET = 8,
    eAT_CMD_CEREG_GET = 9,
    eAT_CMD_CEREG_SET = 10,
    eAT_CMD_CIREG_GET = 11,
    eAT_CMD_CIREG_SET = 12,
    eAT_CMD_QSS_GET = 13,
    eAT_CMD_QSS_SET = 14,
    eAT_CMD_CPIN_PCT_GET = 15,
    eAT_CMD_CPIN_GET = 16,
    eAT_CMD_CPIN_SET = 17,
    eAT_CMD_PCT = 18,
    eAT_CMD_CPWD_SET = 19,
    eAT_CMD_CIMI = 20,
    eAT_CMD_CCID_GET = 21,
    eAT_CMD_RFSTS = 22,
    eAT_CMD_PSNT_GET = 23,
    eAT_CMD_PSNT_SET = 24,
    eAT_CMD_PSNT_RFSTS_GET = 25,
    eAT_CMD_CMEE_SET = 26,
    eAT_CMD_TEMPMON = 27,
    eAT_CMD_SERVINFO = 28,
    eAT_CMD_MONI = 29,
    eAT_CMD_MONI_SET = 30,
    eAT_CMD_CNUM = 31,
    eAT_CMD_COPN = 32,
    eAT_CMD_COPS_GET = 33,
    eAT_CMD_COPS_TEST = 34,
    eAT_CMD_COPS_SET = 35,
    eAT_CMD_FWSWITCH_TEST = 36,
    eAT_CMD_FWSWITCH_GET = 37,
    eAT_CMD_FWSWITCH_SET = 38,
    eAT_CMD_CGATT_GET = 39,
    eAT_CMD_CGATT_SET = 40,
    eAT_CMD_CGACT_GET = 41,
    eAT_CMD_CGACT_SET = 42,
    eAT_CMD_CGCONTRDP_SET = 43,
    eAT_CMD_CGPADDR_SET = 44,
    eAT_CMD_NCM_SET = 45,
    eAT_CMD_CGDATA_SET = 46,
    eAT_CMD_CGDCONT_GET = 47,
    eAT_CMD_CGDCONT_SET = 48,
    eAT_CMD_CSDF_SET = 49,
    eAT_CMD_CCLK_GET = 50,
    eAT_CMD_CCLKMODE_SET = 51,
    eAT_CMD_NITZ_SET = 52,
    eAT_CMD_CLCK_SET = 53,
    eAT_CMD_PDPAUTH_GET = 54,
    eAT_CMD_PDPAUTH_SET = 55,
    eAT_CMD_REBOOT = 56,
    eAT_CMD_WS46_GET = 57,
    eAT_CMD_WS46_SET = 58,
    eAT_CMD_TESTMODE_SET = 59,
    eAT_CMD_CSCS_SET = 60,
    eAT_CMD_CMGS_SET = 61,
    eAT_CMD_CMGF_SET = 62,
    eAT_CMD_CMGD_READ = 63,
    eAT_CMD_CMGD_READ_SENT = 64,
    eAT_CMD_CMGD_READ_SENT_UNSENT = 65,
    eAT_CMD_CMGD_ALL = 66,
    eAT_CMD_CMGL_PDU_UNREAD = 67,
    eAT_CMD_CMGL_PDU_READ = 68,
    eAT_CMD_CMGL_PDU_ALL = 69,
    eAT_CMD_CMGL_TEXT_UNREAD = 70,
    eAT_CMD_CMGL_TEXT_READ = 71,
    eAT_CMD_CMGL_TEXT_ALL = 72,
    eAT_CMD_GPIO_STAT_LED = 73,
    eAT_CMD_SLED_SET = 74,
    eAT_CMD_SLEDSAV = 75,
    eAT_CMD_AUTOBND_GET = 76,
    eAT_CMD_AUTOBND_SET = 77,
    eAT_CMD_ENS_GET = 78,
    eAT_CMD_ENS_SET = 79,
    eAT_CMD_BND_GET = 80,
    eAT_CMD_BND_SET = 81,
    eAT_CMD_GPIO_SET = 82,
    eAT_CMD_CFVR = 83,
    eAT_CMD_IMSPDPSET_SET = 84,
};

extern std::map<eAtCmd, std::string> atCmd_Map;
extern std::map<ePortReturn, std::string> CMEE_Map;
extern std::map<eGeneralErrors, std::string> GeneralError_Map;
extern std::map<eTelitModel, std::string> telitModelList_Map;
extern std::map<ePS_NET_TYPE, std::string> telitNetType_Map;
extern std::map<eCOPS_ACCESS_TECH, std::string> telitCopsAct_Map;
extern std::map<eTempLevel, std::string> telitTempLevel_Map;
extern std::map<eFirmwareCarrier, std::string> telitCarrierFirmware_Map;
// Operator names by numeric PLMN; read from the modem once per process.
extern std::map<std::string, std::string> telitCarrier_list_Map;

// Fills every table but the operator names. Must run before the first command.
void setupVariableMaps();

// The text of a code, empty for a code without one. Unlike the subscript it adds no row: numbers
// that the modem sends must not grow a table, nor become known errors.
template <typename tKey>
std::string mapText(const std::map<tKey, std::string>& table, tKey key) {
    const auto row = table.find(key);
    return row == table.end() ? std::string() : row->second;
}

#endif
