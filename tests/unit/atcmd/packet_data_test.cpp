#include "atcmd/packet_data.h"

#include <gtest/gtest.h>

#include "atcmd/command.h"
#include "include/device_records.h"
#include "tests/support/fake_port.h"
#include "tests/support/log_mode.h"
#include "tests/support/reply_torture.h"

// Replies are made up unless a case says that it was recorded.

namespace {

const std::string CONTEXT_LINE =
    "+CGCONTRDP: 1,5,\"broadband\",\"10.20.30.40.255.255.255.252\",\"10.20.30.41\",\"10.0.0.1\","
    "\"10.0.0.2\",\"10.0.0.3\",\"10.0.0.4\"";

sDeviceInfo parsedContexts(std::initializer_list<std::string> lines) {
    sDeviceInfo device;
    parseCGCONTRDP(modemReply(lines), device);
    return device;
}

sConfigFileOpts configWithContext(const std::string& cid) {
    sConfigFileOpts config;
    config.profileContext = cid;
    return config;
}

void expectEmpty(const sPdpDynamicParams& context) {
    EXPECT_EQ(context.i_p_cid, 255);
    EXPECT_EQ(context.i_p_bearer_id, 255);
    EXPECT_EQ(context.s_apn, "");
    EXPECT_EQ(context.ePDP_ip_type, -1);
    EXPECT_EQ(context.s_ipaddr, "");
    EXPECT_EQ(context.s_gateway, "");
}

}  // namespace

TEST(ParseCGATT, Lines_ZeroOrOne) {
    const struct {
        const char* line;
        int attached;
    } cases[] = {
        {"+CGATT: 1", 1},  // recorded
        {"+CGATT: 0", 0}, {"+CGATT: 2", -1},   {"+CGATT:", -1},
        {"nothing", -1},  {"+CGATT: 1,1", -1}, {"+CGATT: 01", -1},
    };
    for (const auto& row : cases) {
        sNetworkInfo network;
        network.i_attached = 7;
        parseCGATT("AT+CGATT?\r" + modemReply({row.line}), network);
        EXPECT_EQ(network.i_attached, row.attached) << row.line;
    }
    tortureReply(modemReply({"+CGATT: 1"}), [](const std::string& response) {
        sNetworkInfo network;
        parseCGATT(response, network);
        EXPECT_TRUE(network.i_attached >= -1 && network.i_attached <= 1);
    });
}

TEST(GetCGATT, Failure_LeavesUnknown) {
    cFakePort port;
    port.answer(ERROR_REPLY);
    sNetworkInfo network;
    network.i_attached = 1;
    EXPECT_EQ(getCGATT(port.descriptor(), network), ePORT_ERROR);
    EXPECT_EQ(network.i_attached, -1);
}

TEST(ParseCGACT, Lines_GiveFlagAndList) {
    const struct {
        std::string reply;
        const char* cid;
        bool active;
        const char* list;
    } cases[] = {
        {modemReply({"+CGACT: 1,1", "+CGACT: 3,1"}), "3", true, "1,3,"},
        // a fixture's form
        {modemReply({"+CGACT: 1,1", "+CGACT: 2,1", "+CGACT: 3,0"}), "3", false, "1,2,"},
        {modemReply({"+CGACT: 1,0"}), "1", false, ""},
        {modemReply({"+CGACT: 01,1"}), "1", false, "01,"},
        {modemReply({"+CGACT: 1,1,1", "+CGACT: 2"}), "1", false, ""},
        {modemReply({"+CGACT: 1 , 1 "}), "1", true, "1,"},
        {modemReply({"+CGACT: ,1"}), "1", false, ","},
        {modemReply({"x+CGACT: 1,1"}), "1", false, ""},
        {modemReply({}), "1", false, ""},
        {modemReply({"+CGACT: 1,1", "+CGACT: 1,0"}), "1", false, "1,"},
    };
    for (const auto& row : cases) {
        bool active = true;
        std::string list = "before";
        parseCGACT(row.reply, active, row.cid, list);
        EXPECT_EQ(active, row.active) << row.reply;
        EXPECT_EQ(list, row.list) << row.reply;
    }
    tortureReply(modemReply({"+CGACT: 1,1", "+CGACT: 3,1"}), [](const std::string& response) {
        bool active;
        std::string list;
        parseCGACT(response, active, "3", list);
        expectBounded(list);
    });
}

TEST(ParseCGACT, RadioDetail_LogsConfiguredAndOthers) {
    const cLogMode mode(eLOG_RADIO_DETAIL);
    bool active;
    std::string list;
    parseCGACT(modemReply({"+CGACT: 1,1", "+CGACT: 3,1"}), active, "3", list);
    ASSERT_EQ(capturedLog().size(), 2u);
    EXPECT_EQ(capturedLog()[0].find("DEBUG: parseCGACT(): Found CGACT: Other (not configured) "
                                    "Context Profile '1' is '"),
              0u);
    EXPECT_EQ(capturedLog()[1].find("DEBUG: parseCGACT(): Found CGACT: Configured Context Profile "
                                    "'3' is '"),
              0u);
    const std::string end = "' (1),  ";
    EXPECT_EQ(capturedLog()[1].substr(capturedLog()[1].size() - end.size()), end);
    EXPECT_EQ(capturedLog()[0].substr(capturedLog()[0].size() - 4), "',  ");
}

TEST(GetCGACT, Failure_ClearsFlagAndList) {
    cFakePort port;
    port.answer(modemReply({"+CGACT: 3,1"}, "ERROR"));
    bool active = true;
    std::string list = "before";
    EXPECT_EQ(getCGACT(port.descriptor(), active, "3", list), ePORT_ERROR);
    EXPECT_FALSE(active);
    EXPECT_EQ(list, "");
}

TEST(ParseCGPADDR, Lines_GiveTheAddressOfTheContext) {
    const struct {
        std::string reply;
        const char* cid;
        const char* address;
    } cases[] = {
        {modemReply({"+CGPADDR: 1,\"10.20.30.40\""}), "1", "10.20.30.40"},
        {modemReply({"+CGPADDR: 1,10.20.30.40"}), "1", "10.20.30.40"},
        {modemReply({"+CGPADDR: 1,\"10.20.30.40\""}), "3", ""},
        {modemReply({"+CGPADDR: 3,\"1.1.1.1\"", "+CGPADDR: 1,\"2.2.2.2\""}), "1", "2.2.2.2"},
        {modemReply({"+CGPADDR: 1,\"1.1.1.1\"", "+CGPADDR: 1,\"2.2.2.2\""}), "1", "1.1.1.1"},
        {modemReply({"+CGPADDR: 1", "+CGPADDR: 1,\"2.2.2.2\""}), "1", "2.2.2.2"},
        {modemReply({"+CGPADDR: 1,\"10.0.0.9\",\"32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.1\""}), "1",
         "10.0.0.9"},
        {modemReply({"+CGPADDR: 1,"}), "1", ""},
        {modemReply({"+CGPADDR: 01,\"1.1.1.1\""}), "1", ""},
        {modemReply({}), "1", ""},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parseCGPADDR(row.cid, row.reply), row.address) << row.reply;
    tortureReply(modemReply({"+CGPADDR: 1,\"10.20.30.40\""}),
                 [](const std::string& response) { expectBounded(parseCGPADDR("1", response)); });
}

TEST(ParseCGPADDR, AddressDetail_LogsTheMatch) {
    const cLogMode mode(eLOG_ADDRESS_DETAIL);
    parseCGPADDR("1", modemReply({"+CGPADDR: 1,\"10.20.30.40\""}));
    EXPECT_EQ(logCount("DEBUG: parseCGPADDR(): PDP number match '1', Current IP '10.20.30.40'"),
              1u);
    EXPECT_EQ(capturedLog()[0].find("DEBUG: parseCGPADDR(): Found needle '"), 0u);
}

TEST(GetCGPADDR, Failure_LeavesTheAddress) {
    cFakePort port;
    port.answer(ERROR_REPLY).answer(OK_REPLY);
    std::string address = "before";
    EXPECT_EQ(getCGPADDR(port.descriptor(), "1", address), ePORT_ERROR);
    EXPECT_EQ(address, "before");
    EXPECT_EQ(getCGPADDR(port.descriptor(), "1", address), ePORT_OK);
    EXPECT_EQ(address, "");
}

TEST(ParseCGCONTRDP, WholeLine_FillsEveryField) {
    const sDeviceInfo device = parsedContexts({CONTEXT_LINE});
    const sPdpDynamicParams& context = device.network.pdp_dynamic[0];
    EXPECT_EQ(context.i_p_cid, 1);
    EXPECT_EQ(context.i_p_bearer_id, 5);
    EXPECT_EQ(context.s_apn, "broadband");
    EXPECT_EQ(context.ePDP_ip_type, eIP_TYPE_IPV4);
    EXPECT_EQ(context.s_ipaddr, "10.20.30.40");
    EXPECT_EQ(context.s_mask, "255.255.255.252");
    EXPECT_EQ(context.s_gateway, "10.20.30.41");
    EXPECT_EQ(context.s_dns_prim_addr, "10.0.0.1");
    EXPECT_EQ(context.s_dns_sec_addr, "10.0.0.2");
    EXPECT_EQ(context.s_pcscf_prim_addr, "10.0.0.3");
    EXPECT_EQ(context.s_pcscf_sec_addr, "10.0.0.4");
    EXPECT_EQ(device.s_ipv4_address, "10.20.30.40");
    expectEmpty(device.network.pdp_dynamic[1]);
}

TEST(ParseCGCONTRDP, BareAndBlankValues_AreTheSame) {
    const sDeviceInfo device = parsedContexts(
        {"+CGCONTRDP: 1 , 5,broadband, 10.20.30.40.255.255.255.252 ,10.20.30.41,10.0.0.1"});
    const sPdpDynamicParams& context = device.network.pdp_dynamic[0];
    EXPECT_EQ(context.i_p_cid, 1);
    EXPECT_EQ(context.i_p_bearer_id, 5);
    EXPECT_EQ(context.s_apn, "broadband");
    EXPECT_EQ(context.s_ipaddr, "10.20.30.40");
    EXPECT_EQ(context.s_gateway, "10.20.30.41");
    EXPECT_EQ(context.s_dns_prim_addr, "10.0.0.1");
    EXPECT_EQ(context.s_dns_sec_addr, "");
}

// A fixture's form.
TEST(ParseCGCONTRDP, IPv6Line_GivesAddressMaskAndGateway) {
    const sDeviceInfo device = parsedContexts(
        {"+CGCONTRDP: 2,6,\"ims\",\"32.1.13.184.0.18.0.52.0.0.0.0.0.0.0.1.255.255.255.255.255.255."
         "255.255.0.0.0.0.0.0.0.0\",\"254.128.0.0.0.0.0.0.0.0.0.0.0.0.2.64\""});
    const sPdpDynamicParams& context = device.network.pdp_dynamic[0];
    EXPECT_EQ(context.ePDP_ip_type, eIP_TYPE_IPV6);
    EXPECT_EQ(context.s_ipaddr, "2001:db8:12:34::1");
    EXPECT_EQ(context.s_mask, "ffff:ffff:ffff:ffff::");
    EXPECT_EQ(context.s_gateway, "fe80::240");
    EXPECT_EQ(device.s_ipv4_address, "") << "only an IPv4 address is the device's";
}

// Recorded: no mask, no gateway. An empty gateway must not shift the name servers.
TEST(ParseCGCONTRDP, NoMaskAndEmptyGateway_LeavesTypeUnknownAndReadsTheRest) {
    const sDeviceInfo device =
        parsedContexts({"+CGCONTRDP: 1,5,\"catm\",\"10.0.0.9\",,\"10.0.0.1\",\"10.0.0.2\""});
    const sPdpDynamicParams& context = device.network.pdp_dynamic[0];
    EXPECT_EQ(context.ePDP_ip_type, eIP_TYPE_NONE);
    EXPECT_EQ(context.s_ipaddr, "");
    EXPECT_EQ(context.s_mask, "");
    EXPECT_EQ(context.s_gateway, "");
    EXPECT_EQ(context.s_dns_prim_addr, "10.0.0.1");
    EXPECT_EQ(context.s_dns_sec_addr, "10.0.0.2");
    EXPECT_EQ(device.s_ipv4_address, "");
}

TEST(ParseCGCONTRDP, ShortLines_FillTheFieldsThatExist) {
    const sPdpDynamicParams three =
        parsedContexts({"+CGCONTRDP: 1,5,\"apn\""}).network.pdp_dynamic[0];
    EXPECT_EQ(three.i_p_cid, 1);
    EXPECT_EQ(three.i_p_bearer_id, 5);
    EXPECT_EQ(three.s_apn, "apn");
    EXPECT_EQ(three.ePDP_ip_type, -1);
    EXPECT_EQ(three.s_ipaddr, "");

    expectEmpty(parsedContexts({"+CGCONTRDP: 1,5"}).network.pdp_dynamic[0]);
    expectEmpty(parsedContexts({"+CGCONTRDP:"}).network.pdp_dynamic[0]);
    const cLogMode mode;
    const sPdpDynamicParams five =
        parsedContexts({"+CGCONTRDP: 1,5,a,1.2.3.4.255.255.255.0,1.2.3.5"}).network.pdp_dynamic[0];
    EXPECT_EQ(five.s_gateway, "1.2.3.5");
    EXPECT_EQ(five.s_dns_prim_addr, "");
    EXPECT_TRUE(capturedLog().empty()) << "a field that is not there is no bad address";
}

TEST(ParseCGCONTRDP, IdsOutOfRange_TakeTheLowEightBits) {
    const sPdpDynamicParams context =
        parsedContexts({"+CGCONTRDP: 257,-1,\"apn\""}).network.pdp_dynamic[0];
    EXPECT_EQ(context.i_p_cid, 1);
    EXPECT_EQ(context.i_p_bearer_id, 255);
}

TEST(ParseCGCONTRDP, TwoIPv4Lines_TheFirstIsTheDevicesAddress) {
    const sDeviceInfo device =
        parsedContexts({"+CGCONTRDP: 1,5,a,bad", "+CGCONTRDP: 1,5,a,10.0.0.1.255.255.255.0",
                        "+CGCONTRDP: 1,5,a,10.0.0.2.255.255.255.0"});
    EXPECT_EQ(device.s_ipv4_address, "10.0.0.1");
    EXPECT_EQ(device.network.pdp_dynamic[2].s_ipaddr, "10.0.0.2");
}

TEST(ParseCGCONTRDP, SevenLines_YieldSixEntries) {
    const sDeviceInfo device = parsedContexts(
        {"+CGCONTRDP: 1,5,a1", "+CGCONTRDP: 2,5,a2", "+CGCONTRDP: 3,5,a3", "+CGCONTRDP: 4,5,a4",
         "+CGCONTRDP: 5,5,a5", "+CGCONTRDP: 6,5,a6", "+CGCONTRDP: 7,5,a7"});
    for (size_t index = 0; index < 6; ++index)
        EXPECT_EQ(device.network.pdp_dynamic[index].i_p_cid, index + 1);
    EXPECT_EQ(device.network.pdp_dynamic.size(), 6u);
}

TEST(ParseCGCONTRDP, AddressDetail_LogsEachValue) {
    const cLogMode mode(eLOG_ADDRESS_DETAIL);
    parsedContexts({CONTEXT_LINE});
    EXPECT_EQ(capturedLog(), (std::vector<std::string>{
                                 "DEBUG: parseCGCONTRDP() i_p_cid=1",
                                 "DEBUG: parseCGCONTRDP() i_p_bearer_id=5",
                                 "DEBUG: parseCGCONTRDP() s_apn=broadband",
                                 "DEBUG: parseCGCONTRDP() ePDP_ip_type=0",
                                 "DEBUG: parseCGCONTRDP() s_ipaddr=10.20.30.40",
                                 "DEBUG: parseCGCONTRDP() s_mask=255.255.255.252",
                                 "DEBUG: parseCGCONTRDP() s_gateway=10.20.30.41",
                                 "DEBUG: parseCGCONTRDP() s_dns_prim_addr=10.0.0.1",
                                 "DEBUG: parseCGCONTRDP() s_dns_sec_addr=10.0.0.2",
                                 "DEBUG: parseCGCONTRDP() s_pcscf_prim_addr=10.0.0.3",
                                 "DEBUG: parseCGCONTRDP() s_pcscf_sec_addr=10.0.0.4",
                             }));
}

TEST(ParseCGCONTRDP, DamagedReplies_GiveAValidRecord) {
    const auto parse = [](const std::string& response) {
        sDeviceInfo device;
        parseCGCONTRDP(response, device);
        expectBounded(device);
    };
    tortureReply(modemReply({CONTEXT_LINE}), parse);
    tortureReply(
        modemReply({"+CGCONTRDP: 2,6,\"ims\",\"32.1.13.184.0.18.0.52.0.0.0.0.0.0.0.1.255.255.255."
                    "255.255.255.255.255.0.0.0.0.0.0.0.0\""}),
        parse);
    clearCapturedLog();
}

TEST(GetCGCONTRDP, Failure_ClearsEntriesAndAddress) {
    cFakePort port;
    port.answer(modemReply({CONTEXT_LINE})).answer("\r\n+CME ERROR: 100\r\n");
    sDeviceInfo device;
    EXPECT_EQ(getCGCONTRDP(port.descriptor(), device, "1"), ePORT_OK);
    EXPECT_EQ(device.s_ipv4_address, "10.20.30.40");
    EXPECT_EQ(getCGCONTRDP(port.descriptor(), device, "1"), static_cast<ePortReturn>(100));
    EXPECT_EQ(device.s_ipv4_address, "");
    expectEmpty(device.network.pdp_dynamic[0]);
}

TEST(SetCgdataMode, Answers_ShowDataMode) {
    const struct {
        std::string reply;
        ePortReturn result;
    } cases[] = {
        {"\r\nCONNECT\r\n", ePORT_CONNECT},  // recorded: nothing after CONNECT
        {"\r\nCONNECT\r\n\r\nOK\r\n", ePORT_CONNECT},
        {"\r\n CON NECT \r\n\r\nOK\r\n", ePORT_CONNECT},
        {OK_REPLY, ePORT_OK},
        {"\r\nCONNECT 150000000\r\n\r\nOK\r\n", ePORT_OK},
        {"\r\nNO CARRIER\r\n", ePORT_NO_FINAL_RESULT},
        {"", ePORT_NO_FINAL_RESULT},
        {"\r\nCONNECT\r\n\r\nERROR\r\n", ePORT_ERROR},
        {"\r\nCONNECT\r\n\r\n+CME ERROR: 100\r\n", static_cast<ePortReturn>(100)},
        {"\r\nCONNECT\r\n\r\n+CME ERROR: 19\r\n", ePORT_CMX_ERROR},
    };
    for (const auto& row : cases) {
        cFakePort port;
        port.answer(row.reply);
        EXPECT_EQ(setCgdataMode(port.descriptor(), "1"), row.result) << row.reply;
    }
}

TEST(SetCgdataMode, ConnectAlone_StillWaitsItsSecond) {
    cFakePort port;
    port.answer("\r\nCONNECT\r\n");
    EXPECT_EQ(setCgdataMode(port.descriptor(), "1"), ePORT_CONNECT);
    EXPECT_EQ(port.elapsedMs(), 1010u);
}

TEST(ParseCgdataMode, DamagedReplies_GiveAValidRecord) {
    EXPECT_TRUE(parseCgdataMode("\r\nCONNECT\r\n"));
    EXPECT_FALSE(parseCgdataMode("\r\nconnect\r\n"));
    EXPECT_FALSE(parseCgdataMode("AT+CGDATA=CONNECT"));
    size_t found = 0;
    tortureReply("\r\nCONNECT\r\n",
                 [&](const std::string& response) { found += parseCgdataMode(response) ? 1 : 0; });
    EXPECT_GT(found, 0u);
}

TEST(SetCGDCONT, Results_AreLoggedByKind) {
    const std::string command = "AT+CGDCONT=1,\"IPV4V6\",\"internet\"";
    const struct {
        const char* reply;
        std::string log;
        bool isDebug;
    } cases[] = {
        {OK_REPLY, "Success setting APN with cmd '" + command + "'", true},
        {"", "Timeout while setting APN with cmd '" + command + "'", false},
        {ERROR_REPLY, "setCGDCONT(): Command '" + command + "' reported CME_ERROR", false},
        {"\r\n+CME ERROR: 567\r\n", "setCGDCONT(): Command '" + command + "' reported CME_ERROR",
         false},
    };
    for (const auto& row : cases) {
        for (const uint64_t debugMode : {uint64_t{0}, uint64_t{eLOG_AT_DETAIL}}) {
            cFakePort port;
            port.answer(row.reply);
            const cLogMode mode(debugMode);
            setCGDCONT(port.descriptor(), "1", "internet", eIP_FAMILY_IPV4V6);
            const bool isShown = !row.isDebug || debugMode != 0;
            EXPECT_EQ(logCount((row.isDebug ? "DEBUG: " : "") + row.log), isShown ? 1u : 0u)
                << row.log;
        }
    }
}

TEST(SetCGDCONT, KnownError_IsKeptForTheReport) {
    cFakePort port;
    port.answer("\r\n+CME ERROR: 567\r\n").answer(ERROR_REPLY);
    EXPECT_EQ(setCGDCONT(port.descriptor(), "1", "internet", eIP_FAMILY_IPV4),
              static_cast<ePortReturn>(567));
    EXPECT_EQ(g_s_last_cmx_error, "WRONG APN");
    setCGDCONT(port.descriptor(), "1", "internet", eIP_FAMILY_IPV4);
    EXPECT_EQ(g_s_last_cmx_error, "") << "an older error is not reported again";
}

TEST(ParseCGDCONT, Lines_BecomeEntries) {
    sDeviceInfo device;
    parseCGDCONT(modemReply({
                     // recorded
                     "+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0",
                     "+CGDCONT: 3,\"IPV4V6\",\"vzwinternet\",\"0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0\",0,"
                     "0,0,0",
                     // made up
                     "+CGDCONT: 4,IP,bare,,,",
                     "+CGDCONT: 5,\"IP\",\"short\",\"\",0",
                 }),
                 device, configWithContext("3"));
    ASSERT_EQ(device.modem.i_context_count, 3u);
    const auto& list = device.modem.context_list;
    EXPECT_EQ(list[0].s_cid, "1");
    EXPECT_EQ(list[0].s_pdp_type, "IP");
    EXPECT_EQ(list[0].s_apn, "broadband");
    EXPECT_EQ(list[0].s_address, "");
    EXPECT_EQ(list[0].s_data_compression, "0");
    EXPECT_EQ(list[0].s_header_compression, "0");
    EXPECT_EQ(list[1].s_cid, "3");
    EXPECT_EQ(list[1].s_pdp_type, "IPV4V6");
    EXPECT_EQ(list[1].s_address, "0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0");
    EXPECT_EQ(list[2].s_cid, "4");
    EXPECT_EQ(list[2].s_apn, "bare");
    EXPECT_EQ(list[2].s_header_compression, "");
    EXPECT_EQ(device.modem.s_apn, "vzwinternet");
}

TEST(ParseCGDCONT, SixteenLines_YieldFifteenEntries) {
    std::string reply;
    for (int cid = 1; cid <= 16; ++cid)
        reply += "+CGDCONT: " + std::to_string(cid) + ",\"IP\",\"apn\",\"\",0,0\r\n";
    sDeviceInfo device;
    parseCGDCONT(reply, device, configWithContext("1"));
    EXPECT_EQ(device.modem.i_context_count, 15u);
    EXPECT_EQ(device.modem.context_list[14].s_cid, "15");
}

TEST(ParseCGDCONT, DamagedReplies_GiveAValidRecord) {
    tortureReply(modemReply({"+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0"}),
                 [](const std::string& response) {
                     sDeviceInfo device;
                     parseCGDCONT(response, device, configWithContext("1"));
                     expectBounded(device);
                 });
}

TEST(GetCGDCONT, QueriedAgain_ListIsNewAndAFailureEmptiesIt) {
    cFakePort port;
    port.answer(
            modemReply({"+CGDCONT: 1,\"IP\",\"a\",\"\",0,0", "+CGDCONT: 2,\"IP\",\"b\",\"\",0,0"}))
        .answer(modemReply({"+CGDCONT: 2,\"IP\",\"c\",\"\",0,0"}))
        .answer(ERROR_REPLY);
    sDeviceInfo device;
    const sConfigFileOpts config = configWithContext("1");
    getCGDCONT(port.descriptor(), device, config);
    EXPECT_EQ(device.modem.i_context_count, 2u);
    EXPECT_EQ(device.modem.s_apn, "a");
    getCGDCONT(port.descriptor(), device, config);
    EXPECT_EQ(device.modem.i_context_count, 1u);
    EXPECT_EQ(device.modem.s_apn, "");
    getCGDCONT(port.descriptor(), device, config);
    EXPECT_EQ(device.modem.i_context_count, 0u);
}

TEST(SetPDPAUTH, AnyResult_LogsNoPassword) {
    sConfigFileOpts config;
    config.authType = ePDP_AUTH_PAP;
    config.username = "user";
    config.password = "s3cret";
    for (const char* reply : {OK_REPLY, ERROR_REPLY, "\r\n+CME ERROR: 149\r\n"}) {
        cFakePort port;
        port.setEcho(false);
        port.answer(reply);
        const cLogMode mode(~(eLOG_PORT | eLOG_RESPONSE));
        setPDPAUTH(port.descriptor(), config);
        EXPECT_FALSE(logContains("s3cret"));
        EXPECT_FALSE(capturedLog().empty());
    }
}
