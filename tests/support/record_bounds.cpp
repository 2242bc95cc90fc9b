#include "tests/support/record_bounds.h"

#include <initializer_list>

#include "include/device_records.h"

namespace {

const char* const TOO_LONG = "a text is longer than MODEM_TEXT_MAX";

const char* wrongInTexts(std::initializer_list<const std::string*> texts) {
    for (const std::string* text : texts)
        if (const char* wrong = wrongInText(*text)) return wrong;
    return nullptr;
}

const char* wrongInContext(const sContextList& context) {
    return wrongInTexts({&context.s_cid, &context.s_pdp_type, &context.s_apn, &context.s_address,
                         &context.s_data_compression, &context.s_header_compression});
}

const char* wrongInContext(const sPdpDynamicParams& context) {
    return wrongInTexts({&context.s_apn, &context.s_ipaddr, &context.s_mask, &context.s_gateway,
                         &context.s_dns_prim_addr, &context.s_dns_sec_addr,
                         &context.s_pcscf_prim_addr, &context.s_pcscf_sec_addr});
}

template <typename tContexts>
const char* wrongInContexts(const tContexts& contexts) {
    for (const auto& context : contexts)
        if (const char* wrong = wrongInContext(context)) return wrong;
    return nullptr;
}

// A new text of the modem that is in no list here would be bounded by no test. 64-bit sizes are
// enough to notice one.
constexpr bool hasSize(size_t size, size_t expected) {
    return sizeof(void*) != 8 || size == expected;
}

#define RECORD_CHANGED                                                                           \
    " has changed: add a new text or count to its function in tests/support/record_bounds.cpp, " \
    "then set the new size there"
static_assert(hasSize(sizeof(sContextList), 192), "sContextList" RECORD_CHANGED);
static_assert(hasSize(sizeof(sPdpDynamicParams), 272), "sPdpDynamicParams" RECORD_CHANGED);
static_assert(hasSize(sizeof(sModemInfo) - sizeof(sModemInfo::context_list), 632),
              "sModemInfo" RECORD_CHANGED);
static_assert(hasSize(sizeof(sNetworkInfo) - sizeof(sNetworkInfo::pdp_dynamic), 1360),
              "sNetworkInfo" RECORD_CHANGED);
static_assert(hasSize(sizeof(sSimInfo), 328), "sSimInfo" RECORD_CHANGED);
static_assert(
    hasSize(sizeof(sDeviceInfo) - sizeof(sModemInfo) - sizeof(sNetworkInfo) - sizeof(sSimInfo), 72),
    "sDeviceInfo" RECORD_CHANGED);
#undef RECORD_CHANGED

}  // namespace

const char* wrongInText(const std::string& text) {
    return text.size() > MODEM_TEXT_MAX ? TOO_LONG : nullptr;
}

const char* wrongInRecord(const sModemInfo& modem) {
    if (modem.i_context_count > CONTEXT_LIST_MAX) return "more contexts than the list has";
    if (const char* wrong = wrongInTexts(
            {&modem.s_manufacturer, &modem.s_model, &modem.s_serial_number, &modem.s_imei,
             &modem.s_firmware_version, &modem.s_firmware_cfg_version, &modem.s_hardware,
             &modem.s_firmware_carrier, &modem.s_own_number_name, &modem.s_own_number,
             &modem.s_temp_level, &modem.s_net_pref, &modem.s_apn}))
        return wrong;
    return wrongInContexts(modem.context_list);
}

const char* wrongInRecord(const sNetworkInfo& network) {
    if (network.i_active_set_count > ACTIVE_SET_MAX) return "more cells than the set has";
    if (const char* wrong = wrongInTexts({&network.s_reg_area,
                                          &network.s_reg_cell,
                                          &network.s_reg_access_tech,
                                          &network.s_registration,
                                          &network.s_registration_short,
                                          &network.s_previous_registration,
                                          &network.s_psnt_service_type,
                                          &network.s_plmn,
                                          &network.s_mcc,
                                          &network.s_mnc,
                                          &network.s_channel,
                                          &network.s_rsrp,
                                          &network.s_rssi,
                                          &network.s_rsrq,
                                          &network.s_lte_rssi,
                                          &network.s_tac,
                                          &network.s_lac,
                                          &network.s_lac_tac,
                                          &network.s_rac,
                                          &network.s_tx_power,
                                          &network.s_drx,
                                          &network.s_mm,
                                          &network.s_rrc,
                                          &network.s_cell_id_hex,
                                          &network.s_cell_id,
                                          &network.s_imsi,
                                          &network.s_network_name,
                                          &network.s_service_domain,
                                          &network.s_band,
                                          &network.s_psc,
                                          &network.s_ecio,
                                          &network.s_rscp,
                                          &network.s_nom,
                                          &network.s_bler,
                                          &network.s_operator,
                                          &network.s_cops_act}))
        return wrong;
    return wrongInContexts(network.pdp_dynamic);
}

const char* wrongInRecord(const sSimInfo& sim) {
    return wrongInTexts(
        {&sim.s_status, &sim.s_imsi, &sim.s_iccid, &sim.s_home_plmn, &sim.s_carrier});
}

const char* wrongInRecord(const sDeviceInfo& device) {
    if (const char* wrong = wrongInRecord(device.modem)) return wrong;
    if (const char* wrong = wrongInRecord(device.network)) return wrong;
    if (const char* wrong = wrongInRecord(device.sim)) return wrong;
    return wrongInText(device.s_ipv4_address);
}
