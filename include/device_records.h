#ifndef INCLUDE_DEVICE_RECORDS_H
#define INCLUDE_DEVICE_RECORDS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "include/address_text.h"
#include "include/modem_types.h"
#include "include/result_codes.h"

// What the daemon knows about modem, SIM and network. Every field has a default that means "not
// known"; the reset functions restore it.

constexpr int TEMPERATURE_UNKNOWN_C = -999;
constexpr int ATTEMPTS_UNKNOWN = 255;
constexpr int SIGNAL_UNKNOWN = 99;  // +CSQ, 3GPP TS 27.007 section 8.5
constexpr const char* NAME_UNKNOWN = "Unknown";
constexpr const char* TECHNOLOGY_UNKNOWN = "UNKNOWN";
constexpr const char* FIRMWARE_VERSION_UNKNOWN = "00.00.00";
constexpr const char* CFG_VERSION_UNKNOWN = "-1";
constexpr const char* IMEI_UNKNOWN = "000000000000000";
constexpr const char* OWN_NUMBER_UNKNOWN = "0000000000";
constexpr const char* IMSI_UNKNOWN = "000000000000000";
constexpr const char* ICCID_UNKNOWN = "0000000000000000000000";
constexpr const char* PLMN_UNKNOWN = "000000";

// No text of the modem is stored longer than this.
constexpr size_t MODEM_TEXT_MAX = 256;

// One +CGDCONT line, as text.
struct sContextList {
    std::string s_cid;
    std::string s_pdp_type;
    std::string s_apn;
    std::string s_address;
    std::string s_data_compression;
    std::string s_header_compression;
};

constexpr size_t CONTEXT_LIST_MAX = 15;

// One line of +CGCONTRDP: what the network assigned to a context.
struct sPdpDynamicParams {
    uint8_t i_p_cid = 255;
    uint8_t i_p_bearer_id = 255;
    std::string s_apn;
    int ePDP_ip_type = eIP_TYPE_NONE;
    std::string s_ipaddr;
    std::string s_mask;
    std::string s_gateway;
    std::string s_dns_prim_addr;
    std::string s_dns_sec_addr;
    std::string s_pcscf_prim_addr;
    std::string s_pcscf_sec_addr;
};

// The modem may list one context more than the interface can use.
constexpr size_t PDP_DYNAMIC_MAX = 6;
constexpr size_t PDP_DYNAMIC_USED = 5;

// Values that a modem keeps while it runs.
struct sModemStaticInfo {
    std::string s_manufacturer = NAME_UNKNOWN;
    bool b_manufacturer_is_telit = false;
    eTelitModel e_model = eTELIT_MODEL_UNKNOWN;
    std::string s_model = NAME_UNKNOWN;
    unsigned i_supported_net_bits = 0;  // NET_BIT_...
    std::string s_serial_number = IMEI_UNKNOWN;
    std::string s_imei = IMEI_UNKNOWN;
    std::string s_firmware_version = FIRMWARE_VERSION_UNKNOWN;
    std::string s_firmware_cfg_version = CFG_VERSION_UNKNOWN;
    std::string s_hardware = NAME_UNKNOWN;
    bool b_dual_firmware = false;
    int i_firmware_slot = eFIRMWARE_SLOT_AUTO;  // -1 not known, 0 or 1
    eFirmwareCarrier e_firmware_carrier = eFIRMWARE_CARRIER_UNKNOWN;
    std::string s_firmware_carrier = NAME_UNKNOWN;
    bool b_verizon_firmware = false;
    std::string s_supported_3g_bands;
    uint32_t i_supported_3g_mask = 0;  // bit n: UMTS band number n of #BND
    std::string s_supported_4g_bands;
    uint64_t i_supported_4g_mask = 0;  // bit n - 1: LTE band n
};

// Values that are read again and again.
struct sModemVariableInfo {
    std::string s_own_number_name;
    std::string s_own_number = OWN_NUMBER_UNKNOWN;
    uint16_t i_own_number_type = 0;
    int i_temperature_c = TEMPERATURE_UNKNOWN_C;
    eTempLevel e_temp_level = eTEMP_LEVEL_UNKNOWN;
    std::string s_temp_level = NAME_UNKNOWN;
    int i_net_pref = 0;  // +WS46 value, 0 not known
    std::string s_net_pref = NAME_UNKNOWN;
    bool b_firmware_sim_mismatch = false;
    std::array<sContextList, CONTEXT_LIST_MAX> context_list;
    size_t i_context_count = 0;
    std::string s_apn;  // APN of the configured context
};

struct sModemInfo : sModemStaticInfo, sModemVariableInfo {
    // Kept over every reset while the daemon runs.
    int i_sms_network_family = 1;  // 0 unknown, 1 3GPP, 2 3GPP2
    unsigned i_sms_sent = 0;
    unsigned i_sms_sent_fail = 0;
    unsigned i_sms_received = 0;
    std::string s_gps_chipset;
    bool b_gps_stream_on = false;
    eGeneralErrors e_gps_status = eSUCCESS;
};

// One cell of the WCDMA active set.
struct sActiveSetCell {
    int i_uarfcn = 0;
    int i_psc = 0;
    double f_ecio = 0;
};

constexpr size_t ACTIVE_SET_MAX = 6;

// +CREG, +CEREG
struct sRegistrationInfo {
    int i_reg_mode = 0;
    int i_reg_state = eREG_UNKNOWN;
    std::string s_reg_area;
    std::string s_reg_cell;
    std::string s_reg_access_tech;
    std::string s_registration = NAME_UNKNOWN;
    std::string s_registration_short = NAME_UNKNOWN;
    bool b_registered = false;  // home or roaming
};

// #PSNT
struct sPsntInfo {
    ePS_NET_TYPE e_psnt_service_type = ePS_NET_UNKNOWN;
    std::string s_psnt_service_type = TECHNOLOGY_UNKNOWN;
    int i_psnt_is_hsupa_available = 0;
    int i_psnt_is_hsupa_used = 0;
    int i_psnt_is_hsdpa_available = 0;
    int i_psnt_is_hsdpa_used = 0;
};

// #RFSTS, texts as the modem writes them; empty if the technology does not have the value.
struct sRfstsInfo {
    std::string s_plmn;
    std::string s_mcc;
    std::string s_mnc;
    std::string s_channel;
    std::string s_rsrp;      // dBm
    std::string s_rssi;      // dBm
    std::string s_rsrq;      // dB
    std::string s_lte_rssi;  // dBm, LTE only
    std::string s_tac;       // LTE
    std::string s_lac;       // WCDMA; in LTE the TAC
    std::string s_lac_tac;   // TAC in LTE, LAC in WCDMA
    std::string s_rac;
    std::string s_tx_power;
    std::string s_drx;
    int i_mm = -1;
    std::string s_mm;
    int i_rrc = -1;
    std::string s_rrc;
    std::string s_cell_id_hex;
    std::string s_cell_id;  // decimal
    std::string s_imsi;
    std::string s_network_name;
    std::string s_service_domain;
    std::string s_band;  // LTE
    int i_t3402 = 0;
    int i_t3412 = 0;
    std::string s_psc;  // WCDMA from here
    std::string s_ecio;
    std::string s_rscp;
    std::string s_nom;
    std::string s_bler;
    int i_active_set_reported = 0;  // the modem's number, never used as a bound
    std::array<sActiveSetCell, ACTIVE_SET_MAX> active_set;
    size_t i_active_set_count = 0;
};

struct sNetworkInfo : sRegistrationInfo, sPsntInfo, sRfstsInfo {
    // +CSQ, the modem's raw numbers
    int8_t i_rssi = SIGNAL_UNKNOWN;
    int8_t i_ber = SIGNAL_UNKNOWN;

    int i_reg_previous_state = eREG_UNKNOWN;
    std::string s_previous_registration = NAME_UNKNOWN;
    bool b_ims_registered = false;  // +CIREG

    // +COPS
    int i_cops_mode = -1;
    std::string s_operator = NAME_UNKNOWN;
    eCOPS_ACCESS_TECH e_cops_act = eCOPS_ACT_UNKNOWN;
    std::string s_cops_act = TECHNOLOGY_UNKNOWN;

    // Packet domain
    int i_attached = -1;            // +CGATT: -1 not known, 0 no, 1 yes
    bool b_context_active = false;  // +CGACT: the configured context
    std::array<sPdpDynamicParams, PDP_DYNAMIC_MAX> pdp_dynamic;
};

// Answers of the SIM queries.
struct sSimAnswers {
    int i_present = 0;
    int8_t i_qss_mode = -1;
    int i_lock_class = eSIM_LOCK_UNKNOWN;  // the SIM state: an eSimLock, or any other class
    int i_lock_code = 255;
    std::string s_status = NAME_UNKNOWN;
    uint8_t i_pin_attempts = ATTEMPTS_UNKNOWN;
    uint8_t i_puk_attempts = ATTEMPTS_UNKNOWN;
    bool b_attempts_read = false;  // the SIM reported them; otherwise they are assumed
    std::string s_imsi = IMSI_UNKNOWN;
    std::string s_iccid = ICCID_UNKNOWN;
    std::string s_home_plmn = PLMN_UNKNOWN;
    std::string s_carrier = NAME_UNKNOWN;
    int i_pin_lock_enabled = -1;  // -1 not known, 0 no, 1 yes
    bool b_verizon = false;
};

struct sSimInfo : sSimAnswers {
    eSimSlot e_slot = eSIM_SLOT_UNKNOWN;
    std::string s_outcome;  // of the last PIN operation, in one line
    std::string s_cpin_path;
    std::string s_cpin_new_path;
    std::string s_puk_path;
};

struct sDeviceInfo {
    sModemInfo modem;
    sNetworkInfo network;
    sSimInfo sim;
    std::string s_connection_status = NAME_UNKNOWN;  // or SESSION_CONNECTED, _DISCONNECTED
    std::string s_ipv4_address;                      // of the configured context
    eGeneralErrors e_last_connect_error = eSUCCESS;
    bool b_shutting_down = false;
};

// full: resets the modem's static values too. Otherwise these stay: the static values, SMS
// counters, GPS state, last connect error, SIM slot, outcome and file paths.
void resetDeviceInfo(sDeviceInfo& device, bool full);
void resetModemStaticInfo(sModemInfo& modem);
void resetModemVariableInfo(sModemInfo& modem);
void resetModemApnList(sModemInfo& modem);
// Resets sSimAnswers.
void resetSimInfo(sSimInfo& sim);
// Resets the registration and its flag; previous state and text stay, so that the next change is
// noticed.
void resetCregInfo(sNetworkInfo& network);
void resetPsntInfo(sNetworkInfo& network);
// Resets the #PSNT and #RFSTS fields only.
void resetNetworkInfo(sNetworkInfo& network);
void resetPdpDynamicContent(sNetworkInfo& network);

#endif
