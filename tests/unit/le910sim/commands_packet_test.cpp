#include <gtest/gtest.h>

#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

TEST(Le910simPacket, Attach_NeedsRegistration) {
    cModemDriver sim(R"({"registration": {"state": "searching"}})");
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+CGATT=1"), cme(30));
    EXPECT_EQ(sim.reply("AT+CGATT=0"), OK);
}

TEST(Le910simPacket, Activation_NeedsAttachAndADefinedContext) {
    cModemDriver sim;
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+CGACT=1,1"), cme(148));
    EXPECT_EQ(sim.reply("AT+CGATT=1"), OK);
    EXPECT_EQ(sim.reply("AT+CGACT=1,5"), cme(21));
    EXPECT_EQ(sim.reply("AT+CGACT=0,5"), cme(21));
    EXPECT_EQ(sim.reply("AT#NCM=1,5"), cme(21));
    EXPECT_EQ(sim.reply("AT+CGDATA=\"M-RAW_IP\",1"), cme(556));
    EXPECT_EQ(sim.reply("AT+CGACT=1,1"), OK);
    EXPECT_EQ(sim.reply("AT+CGDATA=\"M-RAW_IP\",1"), "\r\nCONNECT\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simPacket, Detach_BringsTheContextsDown) {
    cModemDriver sim(R"({"attached": true, "contexts": [{"cid": 1, "active": true}, {"cid": 3}]})");
    EXPECT_EQ(sim.reply("AT+CGACT?"), "\r\n+CGACT: 1,1\r\n+CGACT: 3,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGATT=0"), OK);
    EXPECT_EQ(sim.reply("AT+CGACT?"), "\r\n+CGACT: 1,0\r\n+CGACT: 3,0\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGPADDR=1"), "\r\n+CGPADDR: 1,\"\"\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGCONTRDP=1"), OK);
}

TEST(Le910simPacket, NetworkDetachAndDeactivate_ByOrder) {
    cModemDriver sim(R"({"attached": true, "contexts": [{"cid": 1, "active": true},
                                                      {"cid": 2, "active": true}]})");
    EXPECT_TRUE(sim.order(R"({"op": "deactivate", "cid": 1})").at("changed"));
    EXPECT_FALSE(sim.order(R"({"op": "deactivate", "cid": 7})").at("changed"));
    EXPECT_EQ(sim.reply("AT+CGACT?"), "\r\n+CGACT: 1,0\r\n+CGACT: 2,1\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.order(R"({"op": "detach"})").at("ok"));
    EXPECT_EQ(sim.reply("AT+CGATT?;+CGACT?"),
              "\r\n+CGATT: 0\r\n+CGACT: 1,0\r\n+CGACT: 2,0\r\n\r\nOK\r\n");
}

TEST(Le910simPacket, Addresses_OnePerActivationThenTheLastIsReused) {
    cModemDriver sim(R"({"attached": true, "addresses": {"ipv4": ["10.0.0.9", "10.0.0.21"]}})");
    const char* const expected[] = {"10.0.0.9", "10.0.0.21", "10.0.0.21"};
    for (const std::string address : expected) {
        EXPECT_EQ(sim.reply("AT+CGACT=1,1"), OK);
        EXPECT_EQ(sim.reply("AT+CGPADDR=1"), "\r\n+CGPADDR: 1,\"" + address + "\"\r\n\r\nOK\r\n");
        EXPECT_EQ(sim.reply("AT+CGACT=0,1"), OK);
    }
}

TEST(Le910simPacket, MadeUpAddresses_ChangeWithEveryActivation) {
    cModemDriver sim(R"({"attached": true})");
    sim.reply("AT+CGACT=1,1");
    EXPECT_EQ(sim.reply("AT+CGPADDR=1"), "\r\n+CGPADDR: 1,\"10.64.1.8\"\r\n\r\nOK\r\n");
    sim.reply("AT+CGACT=0,1");
    sim.reply("AT+CGACT=1,1");
    EXPECT_EQ(sim.reply("AT+CGPADDR=1"), "\r\n+CGPADDR: 1,\"10.64.1.9\"\r\n\r\nOK\r\n");
}

TEST(Le910simPacket, AddressChange_ByOrder) {
    cModemDriver sim(R"({"attached": true})");
    EXPECT_FALSE(sim.order(R"({"op": "address", "cid": 1, "ipv4": "10.9.9.9"})").at("changed"));
    sim.reply("AT+CGACT=1,1");
    EXPECT_TRUE(sim.order(R"({"op": "address", "cid": 1, "ipv4": "10.9.9.9"})").at("changed"));
    EXPECT_EQ(sim.reply("AT+CGPADDR=1"), "\r\n+CGPADDR: 1,\"10.9.9.9\"\r\n\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.ownsAddress("10.9.9.9"));
    EXPECT_FALSE(sim.modem.ownsAddress("10.64.1.8"));
}

TEST(Le910simPacket, BothFamilies_GiveALineEach) {
    cModemDriver sim(R"({"attached": true,
        "contexts": [{"cid": 2, "type": "IPV4V6", "apn": "both.apn"}],
        "addresses": {"families": "both", "ipv4": "10.0.0.9", "ipv4_mask": "255.255.255.248",
                      "ipv4_gateway": "10.0.0.10", "ipv6": "2001:db8:12:34::1",
                      "ipv6_gateway": "fe80::240", "ipv6_dns": ["2001:db8::53"]}})");
    EXPECT_EQ(sim.reply("AT+CGACT=1,2"), OK);
    EXPECT_EQ(sim.reply("AT+CGCONTRDP=2"),
              "\r\n+CGCONTRDP: 2,6,\"both.apn\",\"10.0.0.9.255.255.255.248\",\"10.0.0.10\","
              "\"10.0.0.1\",\"10.0.0.2\"\r\n"
              "+CGCONTRDP: 2,6,\"both.apn\",\"32.1.13.184.0.18.0.52.0.0.0.0.0.0.0.1."
              "255.255.255.255.255.255.255.255.0.0.0.0.0.0.0.0\","
              "\"254.128.0.0.0.0.0.0.0.0.0.0.0.0.2.64\","
              "\"32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.83\"\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGPADDR=2"),
              "\r\n+CGPADDR: 2,\"10.0.0.9\",\"32.1.13.184.0.18.0.52.0.0.0.0.0.0.0.1\"\r\n"
              "\r\nOK\r\n");
    EXPECT_TRUE(sim.modem.ownsAddress("2001:db8:12:34::1"));
}

TEST(Le910simPacket, Ipv6Only_AndATypeTheNetworkDoesNotHave) {
    cModemDriver sim(R"({"attached": true, "addresses": {"families": "ipv6"}})");
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+CGACT=1,1"), cme(555));
    EXPECT_EQ(sim.reply("AT+CGDCONT=1,\"IPV6\",\"six.apn\""), OK);
    EXPECT_EQ(sim.reply("AT+CGACT=1,1"), OK);
    EXPECT_EQ(sim.reply("AT+CGPADDR=1"),
              "\r\n+CGPADDR: 1,\"32.1.13.184.0.1.0.0.0.0.0.0.0.0.0.8\"\r\n\r\nOK\r\n");
}

// A recorded line has neither mask nor gateway.
TEST(Le910simPacket, MaskAndGateway_CanBeMissing) {
    cModemDriver sim(R"({"attached": true, "contexts": [{"cid": 1, "apn": "catm"}],
        "addresses": {"ipv4": "10.0.0.9", "ipv4_mask": "", "ipv4_gateway": ""}})");
    sim.reply("AT+CGACT=1,1");
    EXPECT_EQ(sim.reply("AT+CGCONTRDP=1"),
              "\r\n+CGCONTRDP: 1,5,\"catm\",\"10.0.0.9\",,\"10.0.0.1\",\"10.0.0.2\"\r\n"
              "\r\nOK\r\n");
}

TEST(Le910simPacket, BareFields_WhenQuotesAreOff) {
    cModemDriver sim(R"({"attached": true, "quoted": false, "addresses": {"ipv4": "10.0.0.9"}})");
    EXPECT_EQ(sim.reply("AT+CGDCONT?"), "\r\n+CGDCONT: 1,IP,broadband,,0,0\r\n\r\nOK\r\n");
    sim.reply("AT+CGACT=1,1");
    EXPECT_EQ(sim.reply("AT+CGCONTRDP=1"),
              "\r\n+CGCONTRDP: 1,5,broadband,10.0.0.9.255.255.255.0,10.0.0.1,10.0.0.1,10.0.0.2\r\n"
              "\r\nOK\r\n");
}

TEST(Le910simPacket, CgdataWithoutOk_WhenAsked) {
    cModemDriver sim(R"({"attached": true, "cgdata_ok": false,
                       "contexts": [{"cid": 1, "active": true}]})");
    EXPECT_EQ(sim.reply("AT+CGDATA=\"M-RAW_IP\",1"), "\r\nCONNECT\r\n");
    EXPECT_EQ(sim.reply("AT"), OK);
}

TEST(Le910simPacket, ImsContext_IsActiveBesideTheConfiguredOne) {
    cModemDriver sim(R"({"attached": true, "firmware": {"dual": true, "slot": 1},
        "contexts": [{"cid": 1, "type": "IPV6", "apn": "vzwims", "active": true,
                      "addresses": {"families": "ipv6", "ipv6_pcscf": ["2001:db8::5060"]}},
                     {"cid": 3, "type": "IPV4V6", "apn": "vzwinternet"}]})");
    EXPECT_EQ(sim.reply("AT#FWSWITCH?"), "\r\n#FWSWITCH: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGACT=1,3"), OK);
    EXPECT_EQ(sim.reply("AT+CGACT?"), "\r\n+CGACT: 1,1\r\n+CGACT: 3,1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT+CGCONTRDP=1"),
              "\r\n+CGCONTRDP: 1,5,\"vzwims\",\"32.1.13.184.0.1.0.0.0.0.0.0.0.0.0.8."
              "255.255.255.255.255.255.255.255.0.0.0.0.0.0.0.0\","
              "\"254.128.0.0.0.0.0.0.0.0.0.0.0.0.0.1\","
              "\"32.1.13.184.0.0.0.0.0.0.0.0.0.0.0.83\",,"
              "\"32.1.13.184.0.0.0.0.0.0.0.0.0.0.80.96\"\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.reply("AT#IMSPDPSET=vzwims"), OK);
    EXPECT_EQ(sim.state().at("ims_apn"), "vzwims");
}

TEST(Le910simPacket, ContextDefinition_IsKeptAndRefusedWhileActive) {
    cModemDriver sim(R"({"attached": true})");
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+CGDCONT=3,\"IPV4V6\",\"vzwinternet\""), OK);
    EXPECT_EQ(sim.reply("AT+CGDCONT?"),
              "\r\n+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0\r\n"
              "+CGDCONT: 3,\"IPV4V6\",\"vzwinternet\",\"\",0,0\r\n\r\nOK\r\n");
    sim.reply("AT+CGACT=1,3");
    EXPECT_EQ(sim.reply("AT+CGDCONT=3,\"IP\",\"other\""), cme(3));
    sim.reply("AT+CGACT=0,3");
    EXPECT_EQ(sim.reply("AT+CGDCONT=3"), OK);
    EXPECT_EQ(sim.reply("AT+CGDCONT?"),
              "\r\n+CGDCONT: 1,\"IP\",\"broadband\",\"\",0,0\r\n\r\nOK\r\n");
}

TEST(Le910simPacket, Authentication_IsKept) {
    cModemDriver sim;
    EXPECT_EQ(sim.reply("AT#PDPAUTH=1,2,user,secret"), OK);
    EXPECT_EQ(sim.reply("AT#PDPAUTH?"), "\r\n#PDPAUTH: 1,2,\"user\"\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.state().at("contexts")[0].at("password"), "secret");
    EXPECT_EQ(sim.reply("AT#PDPAUTH=1,0,,"), OK);
    EXPECT_EQ(sim.state().at("contexts")[0].at("password"), "");
}

TEST(Le910simPacket, RefusingNetwork_GivesTheErrorNumbers) {
    cModemDriver sim(R"({"registration": {"accepts_activation": false}})");
    sim.reply("AT+CMEE=1");
    EXPECT_EQ(sim.reply("AT+CGATT=1"), OK);
    EXPECT_EQ(sim.reply("AT+CGACT=1,1"), cme(555));
    sim.order(R"({"op": "set", "registration": {"accepts_attach": false}})");
    EXPECT_EQ(sim.reply("AT+CGATT=0"), OK);
    EXPECT_EQ(sim.reply("AT+CGATT=1"), cme(107));
}

}  // namespace le910sim
