#include <gtest/gtest.h>

#include <tuple>

#include "include/device_records.h"

namespace {

auto staticIdentity(const sModemInfo& m) {
    return std::tie(m.s_manufacturer, m.b_manufacturer_is_telit, m.e_model, m.s_model,
                    m.i_supported_net_bits, m.s_serial_number, m.s_imei, m.s_firmware_version,
                    m.s_firmware_cfg_version, m.s_hardware, m.b_dual_firmware, m.i_firmware_slot,
                    m.e_firmware_carrier, m.s_firmware_carrier, m.b_verizon_firmware,
                    m.s_supported_3g_bands, m.i_supported_3g_mask, m.s_supported_4g_bands,
                    m.i_supported_4g_mask);
}

auto variableInfo(const sModemInfo& m) {
    return std::tie(m.s_own_number_name, m.s_own_number, m.i_own_number_type, m.i_temperature_c,
                    m.e_temp_level, m.s_temp_level, m.i_net_pref, m.s_net_pref,
                    m.b_firmware_sim_mismatch, m.i_context_count, m.s_apn, m.context_list[0].s_apn);
}

auto keptInfo(const sModemInfo& m) {
    return std::tie(m.i_sms_network_family, m.i_sms_sent, m.i_sms_sent_fail, m.i_sms_received,
                    m.s_gps_chipset, m.b_gps_stream_on, m.e_gps_status);
}

auto queriedSim(const sSimInfo& s) {
    return std::tie(s.i_present, s.i_qss_mode, s.i_lock_class, s.i_lock_code, s.s_status,
                    s.i_pin_attempts, s.i_puk_attempts, s.b_attempts_read, s.s_imsi, s.s_iccid,
                    s.s_home_plmn, s.s_carrier, s.i_pin_lock_enabled, s.b_verizon);
}

auto keptSim(const sSimInfo& s) {
    return std::tie(s.e_slot, s.s_outcome, s.s_cpin_path, s.s_cpin_new_path, s.s_puk_path);
}

auto registration(const sNetworkInfo& n) {
    return std::tie(n.i_reg_mode, n.i_reg_state, n.s_reg_area, n.s_reg_cell, n.s_reg_access_tech,
                    n.s_registration, n.s_registration_short, n.b_registered);
}

auto previousRegistration(const sNetworkInfo& n) {
    return std::tie(n.i_reg_previous_state, n.s_previous_registration);
}

auto networkType(const sNetworkInfo& n) {
    return std::tie(n.e_psnt_service_type, n.s_psnt_service_type, n.i_psnt_is_hsupa_available,
                    n.i_psnt_is_hsupa_used, n.i_psnt_is_hsdpa_available, n.i_psnt_is_hsdpa_used);
}

auto servingCell(const sNetworkInfo& n) {
    return std::tie(n.s_plmn, n.s_mcc, n.s_mnc, n.s_channel, n.s_rsrp, n.s_rssi, n.s_rsrq,
                    n.s_lte_rssi, n.s_tac, n.s_lac, n.s_lac_tac, n.s_rac, n.s_tx_power, n.s_drx,
                    n.i_mm, n.s_mm, n.i_rrc, n.s_rrc, n.s_cell_id_hex, n.s_cell_id, n.s_imsi,
                    n.s_network_name, n.s_service_domain, n.s_band, n.i_t3402, n.i_t3412, n.s_psc,
                    n.s_ecio, n.s_rscp, n.s_nom, n.s_bler, n.i_active_set_reported,
                    n.i_active_set_count);
}

auto otherNetwork(const sNetworkInfo& n) {
    return std::tie(n.i_rssi, n.i_ber, n.b_ims_registered, n.i_cops_mode, n.s_operator,
                    n.e_cops_act, n.s_cops_act, n.i_attached, n.b_context_active,
                    n.pdp_dynamic[0].s_ipaddr, n.pdp_dynamic[PDP_DYNAMIC_MAX - 1].i_p_cid,
                    n.pdp_dynamic[0].ePDP_ip_type);
}

// Another value in every field, whatever its type.
struct sOther {
    void operator()(std::string& text) const { text = "other"; }
    void operator()(bool& flag) const { flag = !flag; }
    void operator()(double& number) const { number = 7; }
    template <typename tNumber>
    void operator()(tNumber& number) const {
        number = static_cast<tNumber>(7);
    }
};

template <typename tTuple>
void change(const tTuple& fields) {
    const sOther other;
    std::apply(
        [&](const auto&... field) {
            (other(
                 const_cast<std::remove_const_t<std::remove_reference_t<decltype(field)>>&>(field)),
             ...);
        },
        fields);
}

sDeviceInfo changedDevice() {
    sDeviceInfo device;
    change(staticIdentity(device.modem));
    change(variableInfo(device.modem));
    change(keptInfo(device.modem));
    change(queriedSim(device.sim));
    change(keptSim(device.sim));
    change(registration(device.network));
    change(previousRegistration(device.network));
    change(networkType(device.network));
    change(servingCell(device.network));
    change(otherNetwork(device.network));
    change(std::tie(device.s_connection_status, device.s_ipv4_address, device.e_last_connect_error,
                    device.b_shutting_down));
    return device;
}

const sDeviceInfo FRESH;

}  // namespace

TEST(DeviceRecords, Defaults_AreTheAgreedTexts) {
    EXPECT_EQ(FRESH.modem.s_imei, std::string(15, '0'));
    EXPECT_EQ(FRESH.modem.s_firmware_version, "00.00.00");
    EXPECT_EQ(FRESH.modem.s_firmware_cfg_version, "-1");
    EXPECT_EQ(FRESH.modem.s_own_number, std::string(10, '0'));
    EXPECT_EQ(FRESH.modem.i_temperature_c, -999);
    EXPECT_EQ(FRESH.modem.e_temp_level, -3);
    EXPECT_EQ(FRESH.modem.i_firmware_slot, -1);
    EXPECT_EQ(FRESH.sim.s_iccid, std::string(22, '0'));
    EXPECT_EQ(FRESH.sim.s_home_plmn, "000000");
    EXPECT_EQ(FRESH.sim.i_lock_class, 255);
    EXPECT_EQ(FRESH.sim.i_pin_attempts, 255);
    EXPECT_EQ(FRESH.sim.i_puk_attempts, 255);
    EXPECT_EQ(FRESH.sim.i_pin_lock_enabled, -1);
    EXPECT_EQ(FRESH.network.i_rssi, 99);
    EXPECT_EQ(FRESH.network.i_ber, 99);
    EXPECT_EQ(FRESH.network.i_reg_state, 4);
    EXPECT_EQ(FRESH.network.i_reg_previous_state, 4);
    EXPECT_EQ(FRESH.network.e_psnt_service_type, 5);
    EXPECT_EQ(FRESH.network.s_psnt_service_type, "UNKNOWN");
    EXPECT_EQ(FRESH.network.i_cops_mode, -1);
    EXPECT_EQ(FRESH.network.s_cops_act, "UNKNOWN");
    EXPECT_EQ(FRESH.network.i_attached, -1);
    EXPECT_EQ(FRESH.network.pdp_dynamic[0].i_p_cid, 255);
    EXPECT_EQ(FRESH.network.pdp_dynamic[0].ePDP_ip_type, -1);
    EXPECT_EQ(FRESH.s_connection_status, "Unknown");
}

TEST(ResetDeviceInfo, NotFull_KeepsIdentityCountersAndPaths) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetDeviceInfo(device, false);
    EXPECT_EQ(staticIdentity(device.modem), staticIdentity(before.modem));
    EXPECT_EQ(keptInfo(device.modem), keptInfo(before.modem));
    EXPECT_EQ(keptSim(device.sim), keptSim(before.sim));
    EXPECT_EQ(device.e_last_connect_error, before.e_last_connect_error);
    EXPECT_EQ(device.b_shutting_down, before.b_shutting_down);

    EXPECT_EQ(variableInfo(device.modem), variableInfo(FRESH.modem));
    EXPECT_EQ(queriedSim(device.sim), queriedSim(FRESH.sim));
    EXPECT_EQ(registration(device.network), registration(FRESH.network));
    EXPECT_EQ(networkType(device.network), networkType(FRESH.network));
    EXPECT_EQ(servingCell(device.network), servingCell(FRESH.network));
    EXPECT_EQ(otherNetwork(device.network), otherNetwork(FRESH.network));
    EXPECT_EQ(device.s_connection_status, "Unknown");
    EXPECT_EQ(device.s_ipv4_address, "");
}

TEST(ResetDeviceInfo, Full_ResetsIdentityToo) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetDeviceInfo(device, true);
    EXPECT_EQ(staticIdentity(device.modem), staticIdentity(FRESH.modem));
    EXPECT_EQ(variableInfo(device.modem), variableInfo(FRESH.modem));
    EXPECT_EQ(keptInfo(device.modem), keptInfo(before.modem));
    EXPECT_EQ(keptSim(device.sim), keptSim(before.sim));
}

TEST(ResetModemInfo, EachGroup_IsResetAlone) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetModemStaticInfo(device.modem);
    EXPECT_EQ(staticIdentity(device.modem), staticIdentity(FRESH.modem));
    EXPECT_EQ(variableInfo(device.modem), variableInfo(before.modem));

    device = before;
    resetModemVariableInfo(device.modem);
    EXPECT_EQ(staticIdentity(device.modem), staticIdentity(before.modem));
    EXPECT_EQ(variableInfo(device.modem), variableInfo(FRESH.modem));

    device = before;
    resetModemApnList(device.modem);
    EXPECT_EQ(device.modem.i_context_count, 0u);
    EXPECT_EQ(device.modem.context_list[0].s_apn, "");
    EXPECT_EQ(device.modem.s_apn, "");
    EXPECT_EQ(device.modem.s_own_number, before.modem.s_own_number);
}

TEST(ResetSimInfo, Record_KeepsSlotOutcomeAndPaths) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetSimInfo(device.sim);
    EXPECT_EQ(queriedSim(device.sim), queriedSim(FRESH.sim));
    EXPECT_EQ(keptSim(device.sim), keptSim(before.sim));
}

TEST(ResetCregInfo, Record_KeepsPreviousStateForTheNextChange) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetCregInfo(device.network);
    EXPECT_EQ(registration(device.network), registration(FRESH.network));
    EXPECT_EQ(previousRegistration(device.network), previousRegistration(before.network));
    EXPECT_EQ(networkType(device.network), networkType(before.network));
    EXPECT_EQ(servingCell(device.network), servingCell(before.network));
    EXPECT_EQ(otherNetwork(device.network), otherNetwork(before.network));
}

TEST(ResetPsntInfo, Record_TouchesTheNetworkTypeOnly) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetPsntInfo(device.network);
    EXPECT_EQ(networkType(device.network), networkType(FRESH.network));
    EXPECT_EQ(servingCell(device.network), servingCell(before.network));
}

// It runs between reading the registration and using it.
TEST(ResetNetworkInfo, Record_TouchesCellAndTypeOnly) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetNetworkInfo(device.network);
    EXPECT_EQ(networkType(device.network), networkType(FRESH.network));
    EXPECT_EQ(servingCell(device.network), servingCell(FRESH.network));
    EXPECT_EQ(registration(device.network), registration(before.network));
    EXPECT_EQ(previousRegistration(device.network), previousRegistration(before.network));
    EXPECT_EQ(otherNetwork(device.network), otherNetwork(before.network));
}

TEST(ResetPdpDynamicContent, Record_TouchesTheSixEntriesOnly) {
    const sDeviceInfo before = changedDevice();
    sDeviceInfo device = before;
    resetPdpDynamicContent(device.network);
    for (const sPdpDynamicParams& context : device.network.pdp_dynamic) {
        EXPECT_EQ(context.i_p_cid, 255);
        EXPECT_EQ(context.ePDP_ip_type, eIP_TYPE_NONE);
        EXPECT_EQ(context.s_ipaddr, "");
    }
    EXPECT_EQ(device.network.i_attached, before.network.i_attached);
    EXPECT_EQ(registration(device.network), registration(before.network));
}
