#include "statemachine/status_keys.h"

#include <cstdio>
#include <ctime>

#include "atcmd/catalogue.h"
#include "include/options.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "statemachine/radio_policy.h"

namespace {

struct sStatusSource {
    const sDeviceInfo& device;
    const sConfigFileOpts& config;
    unsigned connectedS;
};

using tSource = const sStatusSource&;

// A row without value is a comment line.
struct sKeyRow {
    const char* key;
    std::string (*value)(tSource);
};

std::string flag(bool value) {
    return value ? "1" : "0";
}

std::string number(unsigned value) {
    return ltos(value);
}

// The serving cell names its network on every poll, +COPS only when a session is started.
std::string servingOperator(const sNetworkInfo& network) {
    return network.s_network_name.empty() ? network.s_operator : network.s_network_name;
}

// As a standard stream writes it.
std::string floatingPoint(double value) {
    char text[32];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

// clang-format off
const sKeyRow MODEM_AND_SIM_KEYS[] = {
    {"_MODEL",                  [](tSource s) -> std::string { return s.device.modem.s_model; }},
    {"_MANU",                   [](tSource s) -> std::string { return s.device.modem.s_manufacturer; }},
    {"_ESN",                    [](tSource s) -> std::string { return s.device.modem.s_serial_number; }},
    {"_IMEI",                   [](tSource s) -> std::string { return s.device.modem.s_imei; }},
    {"_MDN",                    [](tSource s) -> std::string { return s.device.modem.s_own_number; }},
    {"_FIRMWARE_V",             [](tSource s) -> std::string { return s.device.modem.s_firmware_version; }},
    {"_FIRMWARE_CFG_V",         [](tSource s) -> std::string { return s.device.modem.s_firmware_cfg_version; }},
    {"_FIRMWARE_CARRIER",       [](tSource s) -> std::string { return s.device.modem.s_firmware_carrier; }},
    {"_FIRMWARE_CARRIER_E",     [](tSource s) -> std::string { return itos(s.device.modem.e_firmware_carrier); }},
    {"_FIRMWARE_SLOT",          [](tSource s) -> std::string { return itos(s.device.modem.i_firmware_slot); }},
    {"_DUAL_FIRMWARE",          [](tSource s) -> std::string { return flag(s.device.modem.b_dual_firmware); }},
    {"_TEMPERATURE",            [](tSource s) -> std::string { return itos(s.device.modem.i_temperature_c); }},
    {"_TEMPERATURE_LEVEL",      [](tSource s) -> std::string { return s.device.modem.s_temp_level; }},
    {"_TEMPERATURE_LEVEL_E",    [](tSource s) -> std::string { return itos(s.device.modem.e_temp_level); }},
    {"_CONF_OPERATOR_MODE",     [](tSource s) -> std::string { return s.config.operatorMode; }},
    {"_CONF_OPERATOR",          [](tSource s) -> std::string { return s.config.operatorName; }},
    {"_CONF_NETPREF",           [](tSource s) -> std::string { return s.config.netPrefText; }},
    {"_SUPPORTED_NETPREF",      [](tSource s) -> std::string { return decodeNetBits(s.device.modem.i_supported_net_bits); }},
    {"_SUPPORTED_NETPREF_BITS", [](tSource s) -> std::string { return number(s.device.modem.i_supported_net_bits); }},
    {"_CURRENT_NETPREF",        [](tSource s) -> std::string { return s.device.modem.s_net_pref; }},
    {"_CURRENT_NETPREF_VALUE",  [](tSource s) -> std::string { return itos(s.device.modem.i_net_pref); }},
    {"_SUPPORTED_3G_BANDS",     [](tSource s) -> std::string { return s.device.modem.s_supported_3g_bands; }},
    {"_SUPPORTED_4G_BANDS",     [](tSource s) -> std::string { return s.device.modem.s_supported_4g_bands; }},
    {"_SIM_ID",                 [](tSource s) -> std::string { return s.device.sim.s_iccid; }},
    {"_SIM_IMSI",               [](tSource s) -> std::string { return s.device.sim.s_imsi; }},
    {"_SIM_CARRIER_NUMBER",     [](tSource s) -> std::string { return s.device.sim.s_home_plmn; }},
    {"_SIM_CARRIER",            [](tSource s) -> std::string { return s.device.sim.s_carrier; }},
    {"_SIM_STATUS",             [](tSource s) -> std::string { return s.device.sim.s_status; }},
    {"_SIM_EXTENDED_STATUS",    [](tSource s) -> std::string { return s.device.sim.s_outcome; }},
    {"_SIM_CPIN_ENABLED",       [](tSource s) -> std::string { return flag(s.device.sim.i_pin_lock_enabled == 1); }},
    {"_SIM_REMAIN_CPIN",        [](tSource s) -> std::string { return itos(s.device.sim.i_pin_attempts); }},
    {"_SIM_REMAIN_PUK",         [](tSource s) -> std::string { return itos(s.device.sim.i_puk_attempts); }},
    {"_SIM_SLOT",               [](tSource s) -> std::string { return itos(s.device.sim.e_slot); }},
};

const sKeyRow CURRENT_CONTEXT_KEYS[] = {
    {"_SIM_CONT_CURRENT", [](tSource s) -> std::string { return s.config.profileContext; }},
    {"_SIM_APN_CURRENT",  [](tSource s) -> std::string { return s.device.modem.s_apn; }},
};

const sKeyRow NETWORK_KEYS[] = {
    {"_CARRIER",             [](tSource s) -> std::string { return servingOperator(s.device.network); }},
    {"_CARRIER_PLMN",        [](tSource s) -> std::string { return s.device.network.s_plmn; }},
    {"_CARRIER_MCC",         [](tSource s) -> std::string { return s.device.network.s_mcc; }},
    {"_CARRIER_MNC",         [](tSource s) -> std::string { return s.device.network.s_mnc; }},
    {"_SERVICE_TYPE",        [](tSource s) -> std::string { return s.device.network.s_psnt_service_type; }},
    {"_SERVICE_TYPE_E",      [](tSource s) -> std::string { return itos(s.device.network.e_psnt_service_type); }},
    {"_HSUPA_AVAIL",         [](tSource s) -> std::string { return itos(s.device.network.i_psnt_is_hsupa_available); }},
    {"_HSUPA_USED",          [](tSource s) -> std::string { return itos(s.device.network.i_psnt_is_hsupa_used); }},
    {"_HSDPA_AVAIL",         [](tSource s) -> std::string { return itos(s.device.network.i_psnt_is_hsdpa_available); }},
    {"_HSDPA_USED",          [](tSource s) -> std::string { return itos(s.device.network.i_psnt_is_hsdpa_used); }},
    {"_BAND",                [](tSource s) -> std::string { return s.device.network.s_band; }},
    {"_CURRENT_CSQ",         [](tSource s) -> std::string { return itos(s.device.network.i_rssi); }},
    {"_CURRENT_CSQ_BER",     [](tSource s) -> std::string { return itos(s.device.network.i_ber); }},
    {"_CURRENT_RSSI",        [](tSource s) -> std::string { return s.device.network.s_rssi; }},
    {"_CURRENT_RSRQ",        [](tSource s) -> std::string { return s.device.network.s_rsrq; }},
    {"_CURRENT_RSRP",        [](tSource s) -> std::string { return s.device.network.s_rsrp; }},
    {"_CURRENT_RSCP",        [](tSource s) -> std::string { return s.device.network.s_rscp; }},
    {"_LTE_RSSI",            [](tSource s) -> std::string { return s.device.network.s_lte_rssi; }},
    {"_LTE_RSRQ",            [](tSource s) -> std::string { return s.device.network.s_rsrq; }},
    {"_LTE_RSRP",            [](tSource s) -> std::string { return s.device.network.s_rsrp; }},
    {"_CURRENT_ECIO",        [](tSource s) -> std::string { return s.device.network.s_ecio; }},
    {"_CURRENT_TXPWR",       [](tSource s) -> std::string { return s.device.network.s_tx_power; }},
    {"_CURRENT_PSC",         [](tSource s) -> std::string { return s.device.network.s_psc; }},
    {"_CURRENT_DRX",         [](tSource s) -> std::string { return s.device.network.s_drx; }},
    {"_CURRENT_MM",          [](tSource s) -> std::string { return s.device.network.s_mm; }},
    {"_CURRENT_MM_E",        [](tSource s) -> std::string { return itos(s.device.network.i_mm); }},
    {"_CURRENT_RRC",         [](tSource s) -> std::string { return s.device.network.s_rrc; }},
    {"_CURRENT_RRC_E",       [](tSource s) -> std::string { return itos(s.device.network.i_rrc); }},
    {"_CURRENT_NOM",         [](tSource s) -> std::string { return s.device.network.s_nom; }},
    {"_CURRENT_BLER",        [](tSource s) -> std::string { return s.device.network.s_bler; }},
    {"_SERVSYS_CELL_ID",     [](tSource s) -> std::string { return s.device.network.s_cell_id; }},
    {"_SERVSYS_CELL_ID_HEX", [](tSource s) -> std::string { return s.device.network.s_cell_id_hex; }},
};

const sKeyRow AREA_AND_SESSION_KEYS[] = {
    {"_LOCATION_AREA_CODE",   [](tSource s) -> std::string { return s.device.network.s_lac; }},
    {"_SERVSYS_LAC",          [](tSource s) -> std::string { return s.device.network.s_lac; }},
    {"_CURRENT_LAC_TAC",      [](tSource s) -> std::string { return s.device.network.s_lac_tac; }},
    {"_CURRENT_TAC",          [](tSource s) -> std::string { return s.device.network.s_tac; }},
    {"_CURRENT_T3402_TIMER",  [](tSource s) -> std::string { return itos(s.device.network.i_t3402); }},
    {"_CURRENT_T3412_TIMER",  [](tSource s) -> std::string { return itos(s.device.network.i_t3412); }},
    {"_SERVICE_DOMAIN",       [](tSource s) -> std::string { return s.device.network.s_service_domain; }},
    {"_IMS_REG_STATE",        [](tSource s) -> std::string { return flag(s.device.network.b_ims_registered); }},
    {"_CREG",                 [](tSource s) -> std::string { return s.device.network.s_registration; }},
    {"_CREG_ABR",             [](tSource s) -> std::string { return s.device.network.s_registration_short; }},
    {"_CREG_REGISTERED",      [](tSource s) -> std::string { return flag(s.device.network.b_registered); }},
    {"_CREG_ACCESS_TECH",     [](tSource s) -> std::string { return s.device.network.s_reg_access_tech; }},
    {"_CREG_SERVING_CELL",    [](tSource s) -> std::string { return s.device.network.s_reg_cell; }},
    {"_CREG_LAC",             [](tSource s) -> std::string { return s.device.network.s_reg_area; }},
    {"_CURRENT_CHAN",         [](tSource s) -> std::string { return s.device.network.s_channel; }},
    {"_QMI_STATE",            [](tSource s) -> std::string { return s.device.s_connection_status; }},
    {"_QMI_CALL_TIME",        [](tSource s) -> std::string { return number(s.connectedS); }},
    {"_QMI_CALL_FORMAT_TIME", [](tSource s) -> std::string { return formatConnectTime(static_cast<int>(s.connectedS)); }},
    {"_LAST_CONNECT_ERROR_E", [](tSource s) -> std::string { return itos(s.device.e_last_connect_error); }},
    {"_LAST_CONNECT_ERROR",   [](tSource s) -> std::string { return mapText(GeneralError_Map, s.device.e_last_connect_error); }},
    {"_GPS_CHIPSET",          [](tSource s) -> std::string { return s.device.modem.s_gps_chipset; }},
    {"_GPS_STREAM_ON",        [](tSource s) -> std::string { return flag(s.device.modem.b_gps_stream_on); }},
    {"_GPS_LAST_STATUS_E",    [](tSource s) -> std::string { return itos(s.device.modem.e_gps_status); }},
    {"_GPS_LAST_STATUS",      [](tSource s) -> std::string { return mapText(GeneralError_Map, s.device.modem.e_gps_status); }},
    {"#Config args :",        nullptr},
    {"_DEV_HANDLE_MAIN",      [](tSource) -> std::string { return g_S_options.s_device; }},
    {"_DEV_HANDLE_GPS",       [](tSource) -> std::string { return g_S_options.s_gps_device; }},
    {"_NETWORK_INTERFACE",    [](tSource) -> std::string { return g_S_options.s_interface; }},
    {"_SLED_SLOT",            [](tSource) -> std::string { return g_S_options.s_port; }},
    {"#SMS Info :",           nullptr},
    {"_SMS_SENT",             [](tSource s) -> std::string { return number(s.device.modem.i_sms_sent); }},
    {"_SMS_SENT_FAIL",        [](tSource s) -> std::string { return number(s.device.modem.i_sms_sent_fail); }},
    {"_SMS_RECV",             [](tSource s) -> std::string { return number(s.device.modem.i_sms_received); }},
};
// clang-format on

template <size_t count>
void addRows(tStatusList& list, const sKeyRow (&rows)[count], tSource source) {
    for (const sKeyRow& row : rows)
        list.emplace_back(row.key, row.value != nullptr ? row.value(source) : "");
}

void addTime(tStatusList& list, time_t now) {
    tm local{};
    char text[32] = "";
    localtime_r(&now, &local);
    strftime(text, sizeof text, "%F %H:%M:%S", &local);
    list.emplace_back("#File generated ", "");
    list.emplace_back("_STATS_LAST_UPDATE", text);
    list.emplace_back("_STATS_LAST_UPDATE_E", ltos(mktime(&local)));
}

// A daemon that shuts down empties every entry: the key-value store keeps what it was told last.
void addContextList(tStatusList& list, const sDeviceInfo& device) {
    for (size_t i = 0; i < CONTEXT_LIST_MAX; ++i) {
        const std::string key = "_SIM_CONT_APN" + ltos(static_cast<long long>(i));
        const sContextList& entry = device.modem.context_list[i];
        if (device.b_shutting_down)
            list.emplace_back(key, "");
        else if (!entry.s_cid.empty() && !entry.s_apn.empty())
            list.emplace_back(key, entry.s_cid + ":" + entry.s_apn);
    }
}

void addActiveSet(tStatusList& list, const sNetworkInfo& network) {
    for (size_t i = 0; i < network.i_active_set_count && i < ACTIVE_SET_MAX; ++i) {
        const std::string key = "_ACT" + ltos(static_cast<long long>(i));
        const sActiveSetCell& cell = network.active_set[i];
        list.emplace_back(key + "_F_ECIO", floatingPoint(cell.f_ecio));
        list.emplace_back(key + "_PSC", itos(cell.i_psc));
        list.emplace_back(key + "_UARFCN", itos(cell.i_uarfcn));
    }
}

}  // namespace

tStatusList buildStatusList(const sDeviceInfo& device, const sConfigFileOpts& config, long long now,
                            unsigned connectedS) {
    const sStatusSource source = {device, config, connectedS};
    tStatusList list;
    list.reserve(128);
    addTime(list, static_cast<time_t>(now));
    list.emplace_back("#Device Properties:", "");
    addRows(list, MODEM_AND_SIM_KEYS, source);
    addContextList(list, device);
    addRows(list, CURRENT_CONTEXT_KEYS, source);
    list.emplace_back("#Network Service Info :", "");
    addRows(list, NETWORK_KEYS, source);
    addActiveSet(list, device.network);
    addRows(list, AREA_AND_SESSION_KEYS, source);
    return list;
}
