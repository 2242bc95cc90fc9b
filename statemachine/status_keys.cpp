#include "statemachine/status_keys.h"

#include <cstdio>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include "atcmd/catalogue.h"
#include "include/device_records.h"
#include "include/options.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"
#include "published/status_keys.h"
#include "published/status_values.h"
#include "statemachine/radio_policy.h"

namespace {

struct sStatusKeysState {
    std::string context;  // kept only for its memory
};

sStatusKeysState g_statusKeysState;

struct sStatusSource {
    const sDeviceInfo& device;
    const sConfigFileOpts& config;
    unsigned connectedS;
};

using tSource = const sStatusSource&;

// The text of a value: a field of a record, which is not copied, or a text made of one.
class cValueText {
  public:
    // cppcheck-suppress noExplicitConstructor
    cValueText(const std::string& field) : m_text(field) {}
    // cppcheck-suppress noExplicitConstructor
    cValueText(std::string&& made) : m_made(std::move(made)), m_text(m_made) {}
    cValueText(const cValueText&) = delete;
    cValueText& operator=(const cValueText&) = delete;

    std::string_view text() const { return m_text; }

  private:
    std::string m_made;
    std::string_view m_text;
};

// A row without value is a comment line.
struct sKeyRow {
    sStatusKey key;
    cValueText (*value)(tSource);
};

std::string flag(bool value) {
    return value ? STATUS_YES : STATUS_NO;
}

std::string number(unsigned value) {
    return ltos(value);
}

// The serving cell gives its network on every poll, +COPS only at the start of a session.
const std::string& servingOperator(const sNetworkInfo& network) {
    return network.s_network_name.empty() ? network.s_operator : network.s_network_name;
}

// In the format of a standard stream.
std::string floatingPoint(double value) {
    char text[32];
    snprintf(text, sizeof text, "%g", value);
    return text;
}

// clang-format off
const sKeyRow MODEM_AND_SIM_KEYS[] = {
    {STATUS_MODEL,                  [](tSource s) -> cValueText { return s.device.modem.s_model; }},
    {STATUS_MANU,                   [](tSource s) -> cValueText { return s.device.modem.s_manufacturer; }},
    {STATUS_ESN,                    [](tSource s) -> cValueText { return s.device.modem.s_serial_number; }},
    {STATUS_IMEI,                   [](tSource s) -> cValueText { return s.device.modem.s_imei; }},
    {STATUS_MDN,                    [](tSource s) -> cValueText { return s.device.modem.s_own_number; }},
    {STATUS_FIRMWARE_V,             [](tSource s) -> cValueText { return s.device.modem.s_firmware_version; }},
    {STATUS_FIRMWARE_CFG_V,         [](tSource s) -> cValueText { return s.device.modem.s_firmware_cfg_version; }},
    {STATUS_FIRMWARE_CARRIER,       [](tSource s) -> cValueText { return s.device.modem.s_firmware_carrier; }},
    {STATUS_FIRMWARE_CARRIER_E,     [](tSource s) -> cValueText { return itos(s.device.modem.e_firmware_carrier); }},
    {STATUS_FIRMWARE_SLOT,          [](tSource s) -> cValueText { return itos(s.device.modem.i_firmware_slot); }},
    {STATUS_DUAL_FIRMWARE,          [](tSource s) -> cValueText { return flag(s.device.modem.b_dual_firmware); }},
    {STATUS_TEMPERATURE,            [](tSource s) -> cValueText { return itos(s.device.modem.i_temperature_c); }},
    {STATUS_TEMPERATURE_LEVEL,      [](tSource s) -> cValueText { return s.device.modem.s_temp_level; }},
    {STATUS_TEMPERATURE_LEVEL_E,    [](tSource s) -> cValueText { return itos(s.device.modem.e_temp_level); }},
    {STATUS_CONF_OPERATOR_MODE,     [](tSource s) -> cValueText { return s.config.operatorMode; }},
    {STATUS_CONF_OPERATOR,          [](tSource s) -> cValueText { return s.config.operatorName; }},
    {STATUS_CONF_NETPREF,           [](tSource s) -> cValueText { return s.config.netPrefText; }},
    {STATUS_SUPPORTED_NETPREF,      [](tSource s) -> cValueText { return decodeNetBits(s.device.modem.i_supported_net_bits); }},
    {STATUS_SUPPORTED_NETPREF_BITS, [](tSource s) -> cValueText { return number(s.device.modem.i_supported_net_bits); }},
    {STATUS_CURRENT_NETPREF,        [](tSource s) -> cValueText { return s.device.modem.s_net_pref; }},
    {STATUS_CURRENT_NETPREF_VALUE,  [](tSource s) -> cValueText { return itos(s.device.modem.i_net_pref); }},
    {STATUS_SUPPORTED_3G_BANDS,     [](tSource s) -> cValueText { return s.device.modem.s_supported_3g_bands; }},
    {STATUS_SUPPORTED_4G_BANDS,     [](tSource s) -> cValueText { return s.device.modem.s_supported_4g_bands; }},
    {STATUS_SIM_ID,                 [](tSource s) -> cValueText { return s.device.sim.s_iccid; }},
    {STATUS_SIM_IMSI,               [](tSource s) -> cValueText { return s.device.sim.s_imsi; }},
    {STATUS_SIM_CARRIER_NUMBER,     [](tSource s) -> cValueText { return s.device.sim.s_home_plmn; }},
    {STATUS_SIM_CARRIER,            [](tSource s) -> cValueText { return s.device.sim.s_carrier; }},
    {STATUS_SIM_STATUS,             [](tSource s) -> cValueText { return s.device.sim.s_status; }},
    {STATUS_SIM_EXTENDED_STATUS,    [](tSource s) -> cValueText { return s.device.sim.s_outcome; }},
    {STATUS_SIM_CPIN_ENABLED,       [](tSource s) -> cValueText { return flag(s.device.sim.i_pin_lock_enabled == 1); }},
    {STATUS_SIM_REMAIN_CPIN,        [](tSource s) -> cValueText { return itos(s.device.sim.i_pin_attempts); }},
    {STATUS_SIM_REMAIN_PUK,         [](tSource s) -> cValueText { return itos(s.device.sim.i_puk_attempts); }},
    {STATUS_SIM_SLOT,               [](tSource s) -> cValueText { return itos(s.device.sim.e_slot); }},
};

const sKeyRow CURRENT_CONTEXT_KEYS[] = {
    {STATUS_SIM_CONT_CURRENT, [](tSource s) -> cValueText { return s.config.profileContext; }},
    {STATUS_SIM_APN_CURRENT,  [](tSource s) -> cValueText { return s.device.modem.s_apn; }},
};

const sKeyRow NETWORK_KEYS[] = {
    {STATUS_CARRIER,             [](tSource s) -> cValueText { return servingOperator(s.device.network); }},
    {STATUS_CARRIER_PLMN,        [](tSource s) -> cValueText { return s.device.network.s_plmn; }},
    {STATUS_CARRIER_MCC,         [](tSource s) -> cValueText { return s.device.network.s_mcc; }},
    {STATUS_CARRIER_MNC,         [](tSource s) -> cValueText { return s.device.network.s_mnc; }},
    {STATUS_SERVICE_TYPE,        [](tSource s) -> cValueText { return s.device.network.s_psnt_service_type; }},
    {STATUS_SERVICE_TYPE_E,      [](tSource s) -> cValueText { return itos(s.device.network.e_psnt_service_type); }},
    {STATUS_HSUPA_AVAIL,         [](tSource s) -> cValueText { return itos(s.device.network.i_psnt_is_hsupa_available); }},
    {STATUS_HSUPA_USED,          [](tSource s) -> cValueText { return itos(s.device.network.i_psnt_is_hsupa_used); }},
    {STATUS_HSDPA_AVAIL,         [](tSource s) -> cValueText { return itos(s.device.network.i_psnt_is_hsdpa_available); }},
    {STATUS_HSDPA_USED,          [](tSource s) -> cValueText { return itos(s.device.network.i_psnt_is_hsdpa_used); }},
    {STATUS_BAND,                [](tSource s) -> cValueText { return s.device.network.s_band; }},
    {STATUS_CURRENT_CSQ,         [](tSource s) -> cValueText { return itos(s.device.network.i_rssi); }},
    {STATUS_CURRENT_CSQ_BER,     [](tSource s) -> cValueText { return itos(s.device.network.i_ber); }},
    {STATUS_CURRENT_RSSI,        [](tSource s) -> cValueText { return s.device.network.s_rssi; }},
    {STATUS_CURRENT_RSRQ,        [](tSource s) -> cValueText { return s.device.network.s_rsrq; }},
    {STATUS_CURRENT_RSRP,        [](tSource s) -> cValueText { return s.device.network.s_rsrp; }},
    {STATUS_CURRENT_RSCP,        [](tSource s) -> cValueText { return s.device.network.s_rscp; }},
    {STATUS_LTE_RSSI,            [](tSource s) -> cValueText { return s.device.network.s_lte_rssi; }},
    {STATUS_LTE_RSRQ,            [](tSource s) -> cValueText { return s.device.network.s_rsrq; }},
    {STATUS_LTE_RSRP,            [](tSource s) -> cValueText { return s.device.network.s_rsrp; }},
    {STATUS_CURRENT_ECIO,        [](tSource s) -> cValueText { return s.device.network.s_ecio; }},
    {STATUS_CURRENT_TXPWR,       [](tSource s) -> cValueText { return s.device.network.s_tx_power; }},
    {STATUS_CURRENT_PSC,         [](tSource s) -> cValueText { return s.device.network.s_psc; }},
    {STATUS_CURRENT_DRX,         [](tSource s) -> cValueText { return s.device.network.s_drx; }},
    {STATUS_CURRENT_MM,          [](tSource s) -> cValueText { return s.device.network.s_mm; }},
    {STATUS_CURRENT_MM_E,        [](tSource s) -> cValueText { return itos(s.device.network.i_mm); }},
    {STATUS_CURRENT_RRC,         [](tSource s) -> cValueText { return s.device.network.s_rrc; }},
    {STATUS_CURRENT_RRC_E,       [](tSource s) -> cValueText { return itos(s.device.network.i_rrc); }},
    {STATUS_CURRENT_NOM,         [](tSource s) -> cValueText { return s.device.network.s_nom; }},
    {STATUS_CURRENT_BLER,        [](tSource s) -> cValueText { return s.device.network.s_bler; }},
    {STATUS_SERVSYS_CELL_ID,     [](tSource s) -> cValueText { return s.device.network.s_cell_id; }},
    {STATUS_SERVSYS_CELL_ID_HEX, [](tSource s) -> cValueText { return s.device.network.s_cell_id_hex; }},
};

const sKeyRow AREA_AND_SESSION_KEYS[] = {
    {STATUS_LOCATION_AREA_CODE,   [](tSource s) -> cValueText { return s.device.network.s_lac; }},
    {STATUS_SERVSYS_LAC,          [](tSource s) -> cValueText { return s.device.network.s_lac; }},
    {STATUS_CURRENT_LAC_TAC,      [](tSource s) -> cValueText { return s.device.network.s_lac_tac; }},
    {STATUS_CURRENT_TAC,          [](tSource s) -> cValueText { return s.device.network.s_tac; }},
    {STATUS_CURRENT_T3402_TIMER,  [](tSource s) -> cValueText { return itos(s.device.network.i_t3402); }},
    {STATUS_CURRENT_T3412_TIMER,  [](tSource s) -> cValueText { return itos(s.device.network.i_t3412); }},
    {STATUS_SERVICE_DOMAIN,       [](tSource s) -> cValueText { return s.device.network.s_service_domain; }},
    {STATUS_IMS_REG_STATE,        [](tSource s) -> cValueText { return flag(s.device.network.b_ims_registered); }},
    {STATUS_CREG,                 [](tSource s) -> cValueText { return s.device.network.s_registration; }},
    {STATUS_CREG_ABR,             [](tSource s) -> cValueText { return s.device.network.s_registration_short; }},
    {STATUS_CREG_REGISTERED,      [](tSource s) -> cValueText { return flag(s.device.network.b_registered); }},
    {STATUS_CREG_ACCESS_TECH,     [](tSource s) -> cValueText { return s.device.network.s_reg_access_tech; }},
    {STATUS_CREG_SERVING_CELL,    [](tSource s) -> cValueText { return s.device.network.s_reg_cell; }},
    {STATUS_CREG_LAC,             [](tSource s) -> cValueText { return s.device.network.s_reg_area; }},
    {STATUS_CURRENT_CHAN,         [](tSource s) -> cValueText { return s.device.network.s_channel; }},
    {STATUS_QMI_STATE,            [](tSource s) -> cValueText { return s.device.s_connection_status; }},
    {STATUS_QMI_CALL_TIME,        [](tSource s) -> cValueText { return number(s.connectedS); }},
    {STATUS_QMI_CALL_FORMAT_TIME, [](tSource s) -> cValueText { return formatConnectTime(static_cast<int>(s.connectedS)); }},
    {STATUS_LAST_CONNECT_ERROR_E, [](tSource s) -> cValueText { return itos(s.device.e_last_connect_error); }},
    {STATUS_LAST_CONNECT_ERROR,   [](tSource s) -> cValueText { return mapText(GeneralError_Map, s.device.e_last_connect_error); }},
    {STATUS_GPS_CHIPSET,          [](tSource s) -> cValueText { return s.device.modem.s_gps_chipset; }},
    {STATUS_GPS_STREAM_ON,        [](tSource s) -> cValueText { return flag(s.device.modem.b_gps_stream_on); }},
    {STATUS_GPS_LAST_STATUS_E,    [](tSource s) -> cValueText { return itos(s.device.modem.e_gps_status); }},
    {STATUS_GPS_LAST_STATUS,      [](tSource s) -> cValueText { return mapText(GeneralError_Map, s.device.modem.e_gps_status); }},
    {{"#Config args :"},        nullptr},
    {STATUS_DEV_HANDLE_MAIN,      [](tSource) -> cValueText { return g_S_options.s_device; }},
    {STATUS_DEV_HANDLE_GPS,       [](tSource) -> cValueText { return g_S_options.s_gps_device; }},
    {STATUS_NETWORK_INTERFACE,    [](tSource) -> cValueText { return g_S_options.s_interface; }},
    {STATUS_SLED_SLOT,            [](tSource) -> cValueText { return g_S_options.s_port; }},
    {{"#SMS Info :"},           nullptr},
    {STATUS_SMS_SENT,             [](tSource s) -> cValueText { return number(s.device.modem.i_sms_sent); }},
    {STATUS_SMS_SENT_FAIL,        [](tSource s) -> cValueText { return number(s.device.modem.i_sms_sent_fail); }},
    {LAST_STATUS_KEY,             [](tSource s) -> cValueText { return number(s.device.modem.i_sms_received); }},
};
// clang-format on

template <size_t count>
void addRows(cStatusLines& lines, const sKeyRow (&rows)[count], tSource source) {
    for (const sKeyRow& row : rows) {
        if (row.value != nullptr)
            lines.key(row.key.name, row.value(source).text());
        else
            lines.comment(row.key.name);
    }
}

void addTime(cStatusLines& lines, time_t now) {
    tm local{};
    char text[32] = "";
    localtime_r(&now, &local);
    strftime(text, sizeof text, "%F %H:%M:%S", &local);
    lines.comment("#File generated ");
    lines.key(STATUS_STATS_LAST_UPDATE.name, text);
    lines.key(STATUS_STATS_LAST_UPDATE_E.name, ltos(mktime(&local)));
}

// A daemon that shuts down empties every entry, because the key-value store keeps the last value.
void addContextList(cStatusLines& lines, const sDeviceInfo& device) {
    for (size_t i = 0; i < CONTEXT_LIST_MAX; ++i) {
        const sContextList& entry = device.modem.context_list[i];
        if (device.b_shutting_down)
            lines.key(contextStatusKey(i), "");
        else if (!entry.s_cid.empty() && !entry.s_apn.empty())
            lines.key(
                contextStatusKey(i),
                g_statusKeysState.context.assign(entry.s_cid).append(":").append(entry.s_apn));
    }
}

void addActiveSet(cStatusLines& lines, const sNetworkInfo& network) {
    for (size_t i = 0; i < network.i_active_set_count && i < ACTIVE_SET_MAX; ++i) {
        const sActiveSetCell& cell = network.active_set[i];
        lines.key(activeSetEcIoKey(i), floatingPoint(cell.f_ecio));
        lines.key(activeSetPscKey(i), itos(cell.i_psc));
        lines.key(activeSetChannelKey(i), itos(cell.i_uarfcn));
    }
}

}  // namespace

void updateStatusLines(cStatusLines& lines, const sDeviceInfo& device,
                       const sConfigFileOpts& config, long long now, unsigned connectedS) {
    const sStatusSource source = {device, config, connectedS};
    lines.beginUpdate();
    addTime(lines, static_cast<time_t>(now));
    lines.comment("#Device Properties:");
    addRows(lines, MODEM_AND_SIM_KEYS, source);
    addContextList(lines, device);
    addRows(lines, CURRENT_CONTEXT_KEYS, source);
    lines.comment("#Network Service Info :");
    addRows(lines, NETWORK_KEYS, source);
    addActiveSet(lines, device.network);
    addRows(lines, AREA_AND_SESSION_KEYS, source);
    lines.endUpdate();
}
