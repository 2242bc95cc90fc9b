#include "include/device_records.h"

void resetDeviceInfo(sDeviceInfo& device, bool full) {
    if (full) resetModemStaticInfo(device.modem);
    resetModemVariableInfo(device.modem);
    resetSimInfo(device.sim);
    device.network = sNetworkInfo{};
    device.s_connection_status = NAME_UNKNOWN;
    device.s_ipv4_address.clear();
}

void resetModemStaticInfo(sModemInfo& modem) {
    const sModemInfo fresh;
    modem.s_manufacturer = fresh.s_manufacturer;
    modem.b_manufacturer_is_telit = fresh.b_manufacturer_is_telit;
    modem.e_model = fresh.e_model;
    modem.s_model = fresh.s_model;
    modem.i_supported_net_bits = fresh.i_supported_net_bits;
    modem.s_serial_number = fresh.s_serial_number;
    modem.s_imei = fresh.s_imei;
    modem.s_firmware_version = fresh.s_firmware_version;
    modem.s_firmware_cfg_version = fresh.s_firmware_cfg_version;
    modem.s_hardware = fresh.s_hardware;
    modem.b_dual_firmware = fresh.b_dual_firmware;
    modem.i_firmware_slot = fresh.i_firmware_slot;
    modem.e_firmware_carrier = fresh.e_firmware_carrier;
    modem.s_firmware_carrier = fresh.s_firmware_carrier;
    modem.b_verizon_firmware = fresh.b_verizon_firmware;
    modem.s_supported_3g_bands = fresh.s_supported_3g_bands;
    modem.i_supported_3g_mask = fresh.i_supported_3g_mask;
    modem.s_supported_4g_bands = fresh.s_supported_4g_bands;
    modem.i_supported_4g_mask = fresh.i_supported_4g_mask;
}

void resetModemVariableInfo(sModemInfo& modem) {
    const sModemInfo fresh;
    modem.s_own_number_name = fresh.s_own_number_name;
    modem.s_own_number = fresh.s_own_number;
    modem.i_own_number_type = fresh.i_own_number_type;
    modem.i_temperature_c = fresh.i_temperature_c;
    modem.e_temp_level = fresh.e_temp_level;
    modem.s_temp_level = fresh.s_temp_level;
    modem.i_net_pref = fresh.i_net_pref;
    modem.s_net_pref = fresh.s_net_pref;
    modem.b_firmware_sim_mismatch = fresh.b_firmware_sim_mismatch;
    resetModemApnList(modem);
}

void resetModemApnList(sModemInfo& modem) {
    modem.context_list = {};
    modem.i_context_count = 0;
    modem.s_apn.clear();
}

void resetSimInfo(sSimInfo& sim) {
    sSimInfo fresh;
    fresh.e_slot = sim.e_slot;
    fresh.s_outcome = sim.s_outcome;
    fresh.s_cpin_path = sim.s_cpin_path;
    fresh.s_cpin_new_path = sim.s_cpin_new_path;
    fresh.s_puk_path = sim.s_puk_path;
    sim = fresh;
}

void resetCregInfo(sNetworkInfo& network) {
    const sNetworkInfo fresh;
    network.i_reg_mode = fresh.i_reg_mode;
    network.i_reg_state = fresh.i_reg_state;
    network.s_reg_area = fresh.s_reg_area;
    network.s_reg_cell = fresh.s_reg_cell;
    network.s_reg_access_tech = fresh.s_reg_access_tech;
    network.s_registration = fresh.s_registration;
    network.s_registration_short = fresh.s_registration_short;
    network.b_registered = false;
}

void resetPsntInfo(sNetworkInfo& network) {
    const sNetworkInfo fresh;
    network.e_psnt_service_type = fresh.e_psnt_service_type;
    network.s_psnt_service_type = fresh.s_psnt_service_type;
    network.i_psnt_is_hsupa_available = 0;
    network.i_psnt_is_hsupa_used = 0;
    network.i_psnt_is_hsdpa_available = 0;
    network.i_psnt_is_hsdpa_used = 0;
}

void resetNetworkInfo(sNetworkInfo& network) {
    resetPsntInfo(network);
    for (std::string sNetworkInfo::*text :
         {&sNetworkInfo::s_plmn,     &sNetworkInfo::s_mcc,          &sNetworkInfo::s_mnc,
          &sNetworkInfo::s_channel,  &sNetworkInfo::s_rsrp,         &sNetworkInfo::s_rssi,
          &sNetworkInfo::s_rsrq,     &sNetworkInfo::s_lte_rssi,     &sNetworkInfo::s_tac,
          &sNetworkInfo::s_lac,      &sNetworkInfo::s_lac_tac,      &sNetworkInfo::s_rac,
          &sNetworkInfo::s_tx_power, &sNetworkInfo::s_drx,          &sNetworkInfo::s_mm,
          &sNetworkInfo::s_rrc,      &sNetworkInfo::s_cell_id_hex,  &sNetworkInfo::s_cell_id,
          &sNetworkInfo::s_imsi,     &sNetworkInfo::s_network_name, &sNetworkInfo::s_service_domain,
          &sNetworkInfo::s_band,     &sNetworkInfo::s_psc,          &sNetworkInfo::s_ecio,
          &sNetworkInfo::s_rscp,     &sNetworkInfo::s_nom,          &sNetworkInfo::s_bler})
        (network.*text).clear();
    const sNetworkInfo fresh;
    network.i_mm = fresh.i_mm;
    network.i_rrc = fresh.i_rrc;
    network.i_t3402 = 0;
    network.i_t3412 = 0;
    network.i_active_set_reported = 0;
    network.i_active_set_count = 0;
}

void resetPdpDynamicContent(sNetworkInfo& network) {
    network.pdp_dynamic = {};
}
