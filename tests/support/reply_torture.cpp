#include "tests/support/reply_torture.h"

#include <gtest/gtest.h>

#include <string>

namespace {

constexpr size_t MEGABYTE = 1024 * 1024;
const std::string UNSOLICITED = "\r\n+CREG: 1\r\n";
const std::string GARBAGE = "\xff\x80\r#$%?,,,\"\":\t\n";

using tParse = std::function<void(const std::string&)>;

void cutEverywhere(const std::string& reply, const tParse& parse) {
    for (size_t length = 0; length <= reply.size(); ++length) {
        parse(reply.substr(0, length));
        parse(reply.substr(length));
    }
}

void insertEverywhere(const std::string& reply, const std::string& piece, const tParse& parse) {
    for (size_t at = 0; at <= reply.size(); ++at)
        parse(std::string(reply).insert(at, piece));
}

void replaceEverywhere(const std::string& reply, char byte, const tParse& parse) {
    for (size_t at = 0; at < reply.size(); ++at) {
        std::string changed = reply;
        changed[at] = byte;
        parse(changed);
    }
}

std::string repeated(const std::string& text, size_t size) {
    std::string result;
    while (!text.empty() && result.size() < size)
        result += text;
    return result;
}

// A megabyte of digits where each field begins; of other things in the first and in the last field;
// and the reply itself again and again.
void makeOverLong(const std::string& reply, const tParse& parse) {
    const std::string separators = ",: ";
    for (size_t at = reply.find_first_of(separators); at != std::string::npos;
         at = reply.find_first_of(separators, at + 1))
        parse(std::string(reply).insert(at + 1, repeated("9", MEGABYTE)));
    for (const char* filler : {"A", "9", ",", "\"", ".", " ", "1 "}) {
        const std::string megabyte = repeated(filler, MEGABYTE);
        for (const size_t at : {reply.find_first_of(separators), reply.find_last_of(separators)})
            if (at != std::string::npos) parse(std::string(reply).insert(at + 1, megabyte));
        parse(megabyte);
        parse(megabyte + reply);
    }
    parse(repeated(reply, MEGABYTE));
    parse(repeated("\r\n", MEGABYTE) + reply);
}

}  // namespace

void tortureReply(const std::string& reply, const std::function<void(const std::string&)>& parse) {
    cutEverywhere(reply, parse);
    parse(GARBAGE + reply);
    insertEverywhere(reply, UNSOLICITED, parse);
    for (const char byte : {'\0', '\xff', '\x80', '\r', '\n', ',', '"', ' ', '-', '9'}) {
        insertEverywhere(reply, std::string(1, byte), parse);
        replaceEverywhere(reply, byte, parse);
    }
    makeOverLong(reply, parse);
}

void expectBounded(const std::string& text) {
    EXPECT_LE(text.size(), MODEM_TEXT_MAX);
}

void expectBounded(const sModemInfo& modem) {
    for (const std::string* text :
         {&modem.s_manufacturer, &modem.s_model, &modem.s_serial_number, &modem.s_imei,
          &modem.s_firmware_version, &modem.s_firmware_cfg_version, &modem.s_hardware,
          &modem.s_firmware_carrier, &modem.s_own_number_name, &modem.s_own_number,
          &modem.s_temp_level, &modem.s_net_pref, &modem.s_apn})
        expectBounded(*text);
    EXPECT_LE(modem.i_context_count, CONTEXT_LIST_MAX);
    for (const sContextList& context : modem.context_list)
        for (const std::string* text :
             {&context.s_cid, &context.s_pdp_type, &context.s_apn, &context.s_address,
              &context.s_data_compression, &context.s_header_compression})
            expectBounded(*text);
}

void expectBounded(const sNetworkInfo& network) {
    for (const std::string* text : {&network.s_reg_area,
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
                                    &network.s_cops_act})
        expectBounded(*text);
    EXPECT_LE(network.i_active_set_count, ACTIVE_SET_MAX);
    for (const sPdpDynamicParams& context : network.pdp_dynamic)
        for (const std::string* text :
             {&context.s_apn, &context.s_ipaddr, &context.s_mask, &context.s_gateway,
              &context.s_dns_prim_addr, &context.s_dns_sec_addr, &context.s_pcscf_prim_addr,
              &context.s_pcscf_sec_addr})
            expectBounded(*text);
}

void expectBounded(const sSimInfo& sim) {
    for (const std::string* text :
         {&sim.s_status, &sim.s_imsi, &sim.s_iccid, &sim.s_home_plmn, &sim.s_carrier})
        expectBounded(*text);
}

void expectBounded(const sDeviceInfo& device) {
    expectBounded(device.modem);
    expectBounded(device.network);
    expectBounded(device.sim);
    expectBounded(device.s_ipv4_address);
}
