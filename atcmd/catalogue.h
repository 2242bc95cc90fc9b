#ifndef ATCMD_CATALOGUE_H
#define ATCMD_CATALOGUE_H

#include <map>
#include <string>

#include "include/modem_types.h"
#include "include/result_codes.h"

// Every AT command that the daemon sends, and the texts of the codes that modem and daemon use.
// Commands are from 3GPP TS 27.007 and 27.005; those with '#' or '$' are the modem maker's own.

// Each command: its name, its number, its text. eAT_CMD_CIREG_SET has no text because the IMS
// registration report is never enabled. Add new commands at the end.
// clang-format off
#define AT_COMMANDS(X) \
    X(eAT_CMD_AT, 0, "AT") \
    X(eAT_CMD_GMM, 1, "AT+GMM") \
    X(eAT_CMD_ATI3, 2, "ATI3") \
    X(eAT_CMD_CGSN, 3, "AT+CGSN") \
    X(eAT_CMD_CGMR, 4, "AT+CGMR") \
    X(eAT_CMD_ATI5, 5, "ATI5") \
    X(eAT_CMD_CSQ, 6, "AT+CSQ") \
    X(eAT_CMD_CREG_GET, 7, "AT+CREG?") \
    X(eAT_CMD_CREG_SET, 8, "AT+CREG=") \
    X(eAT_CMD_CEREG_GET, 9, "AT+CEREG?") \
    X(eAT_CMD_CEREG_SET, 10, "AT+CEREG=") \
    X(eAT_CMD_CIREG_GET, 11, "AT+CIREG?") \
    X(eAT_CMD_CIREG_SET, 12, nullptr) \
    X(eAT_CMD_QSS_GET, 13, "AT#QSS?") \
    X(eAT_CMD_QSS_SET, 14, "AT#QSS=") \
    X(eAT_CMD_CPIN_PCT_GET, 15, "AT+CPIN?;#PCT") \
    X(eAT_CMD_CPIN_GET, 16, "AT+CPIN?") \
    X(eAT_CMD_CPIN_SET, 17, "AT+CPIN=") \
    X(eAT_CMD_PCT, 18, "AT#PCT") \
    X(eAT_CMD_CPWD_SET, 19, "AT+CPWD=") \
    X(eAT_CMD_CIMI, 20, "AT+CIMI") \
    X(eAT_CMD_CCID_GET, 21, "AT+CCID?") \
    X(eAT_CMD_RFSTS, 22, "AT#RFSTS") \
    X(eAT_CMD_PSNT_GET, 23, "AT#PSNT?") \
    X(eAT_CMD_PSNT_SET, 24, "AT#PSNT=") \
    X(eAT_CMD_PSNT_RFSTS_GET, 25, "AT#PSNT?;#RFSTS") \
    X(eAT_CMD_CMEE_SET, 26, "AT+CMEE=") \
    X(eAT_CMD_TEMPMON, 27, "AT#TEMPMON=1") \
    X(eAT_CMD_SERVINFO, 28, "AT#SERVINFO") \
    X(eAT_CMD_MONI, 29, "AT#MONI") \
    X(eAT_CMD_MONI_SET, 30, "AT#MONI=") \
    X(eAT_CMD_CNUM, 31, "AT+CNUM") \
    X(eAT_CMD_COPN, 32, "AT+COPN") \
    X(eAT_CMD_COPS_GET, 33, "AT+COPS?") \
    X(eAT_CMD_COPS_TEST, 34, "AT+COPS=?") \
    X(eAT_CMD_COPS_SET, 35, "AT+COPS=") \
    X(eAT_CMD_FWSWITCH_TEST, 36, "AT#FWSWITCH=?") \
    X(eAT_CMD_FWSWITCH_GET, 37, "AT#FWSWITCH?") \
    X(eAT_CMD_FWSWITCH_SET, 38, "AT#FWSWITCH=") \
    X(eAT_CMD_CGATT_GET, 39, "AT+CGATT?") \
    X(eAT_CMD_CGATT_SET, 40, "AT+CGATT=") \
    X(eAT_CMD_CGACT_GET, 41, "AT+CGACT?") \
    X(eAT_CMD_CGACT_SET, 42, "AT+CGACT=") \
    X(eAT_CMD_CGCONTRDP_SET, 43, "AT+CGCONTRDP=") \
    X(eAT_CMD_CGPADDR_SET, 44, "AT+CGPADDR=") \
    X(eAT_CMD_NCM_SET, 45, "AT#NCM=") \
    X(eAT_CMD_CGDATA_SET, 46, "AT+CGDATA=") \
    X(eAT_CMD_CGDCONT_GET, 47, "AT+CGDCONT?") \
    X(eAT_CMD_CGDCONT_SET, 48, "AT+CGDCONT=") \
    X(eAT_CMD_CSDF_SET, 49, "AT+CSDF=") \
    X(eAT_CMD_CCLK_GET, 50, "AT#CCLK?") \
    X(eAT_CMD_CCLKMODE_SET, 51, "AT#CCLKMODE=") \
    X(eAT_CMD_NITZ_SET, 52, "AT#NITZ=") \
    X(eAT_CMD_CLCK_SET, 53, "AT+CLCK=") \
    X(eAT_CMD_PDPAUTH_GET, 54, "AT#PDPAUTH?") \
    X(eAT_CMD_PDPAUTH_SET, 55, "AT#PDPAUTH=") \
    X(eAT_CMD_REBOOT, 56, "AT#REBOOT") \
    X(eAT_CMD_WS46_GET, 57, "AT+WS46?") \
    X(eAT_CMD_WS46_SET, 58, "AT+WS46=") \
    X(eAT_CMD_TESTMODE_SET, 59, "AT#TESTMODE=") \
    X(eAT_CMD_CSCS_SET, 60, "AT+CSCS=") \
    X(eAT_CMD_CMGS_SET, 61, "AT+CMGS=") \
    X(eAT_CMD_CMGF_SET, 62, "AT+CMGF=") \
    X(eAT_CMD_CMGD_READ, 63, "AT+CMGD=1,1") \
    X(eAT_CMD_CMGD_READ_SENT, 64, "AT+CMGD=1,2") \
    X(eAT_CMD_CMGD_READ_SENT_UNSENT, 65, "AT+CMGD=1,3") \
    X(eAT_CMD_CMGD_ALL, 66, "AT+CMGD=1,4") \
    X(eAT_CMD_CMGL_PDU_UNREAD, 67, "AT+CMGL=0") \
    X(eAT_CMD_CMGL_PDU_READ, 68, "AT+CMGL=1") \
    X(eAT_CMD_CMGL_PDU_ALL, 69, "AT+CMGL=4") \
    X(eAT_CMD_CMGL_TEXT_UNREAD, 70, "AT+CMGL=\"REC UNREAD\"") \
    X(eAT_CMD_CMGL_TEXT_READ, 71, "AT+CMGL=\"REC READ\"") \
    X(eAT_CMD_CMGL_TEXT_ALL, 72, "AT+CMGL=\"ALL\"") \
    X(eAT_CMD_GPIO_STAT_LED, 73, "AT#GPIO=1,0,2") \
    X(eAT_CMD_SLED_SET, 74, "AT#SLED=") \
    X(eAT_CMD_SLEDSAV, 75, "AT#SLEDSAV") \
    X(eAT_CMD_AUTOBND_GET, 76, "AT#AUTOBND?") \
    X(eAT_CMD_AUTOBND_SET, 77, "AT#AUTOBND=") \
    X(eAT_CMD_ENS_GET, 78, "AT#ENS?") \
    X(eAT_CMD_ENS_SET, 79, "AT#ENS=") \
    X(eAT_CMD_BND_GET, 80, "AT#BND?") \
    X(eAT_CMD_BND_SET, 81, "AT#BND=") \
    X(eAT_CMD_GPIO_SET, 82, "AT#GPIO=") \
    X(eAT_CMD_CFVR, 83, "AT#CFVR") \
    X(eAT_CMD_IMSPDPSET_SET, 84, "AT#IMSPDPSET=")
// clang-format on

enum eAtCmd : int {
#define AT_COMMAND_NUMBER(name, number, text) name = number,
    AT_COMMANDS(AT_COMMAND_NUMBER)
#undef AT_COMMAND_NUMBER
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

// The text of a code, empty for a code without one. Unlike operator[] it adds no row: numbers that
// the modem sends must not grow a table or become known errors.
template <typename tKey>
const std::string& mapText(const std::map<tKey, std::string>& table, tKey key) {
    static const std::string NO_TEXT;
    const auto row = table.find(key);
    return row == table.end() ? NO_TEXT : row->second;
}

#endif
