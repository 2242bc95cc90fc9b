#include <gtest/gtest.h>

#include "le910sim/gsm7.h"
#include "le910sim/sms_pdu.h"
#include "tests/unit/le910sim/test_driver.h"

namespace le910sim {

namespace {

const std::string CTRL_Z = "\x1a";
const std::string ESC = "\x1b";

// Service centre +12025550100, sender +12025550123, 15 June 2020 20:32:05 UTC-6, "hellohello".
const std::string HELLO =
    "07912120550501F0040B912120550521F300000260510223504A0AE8329BFD4697D9EC37";
const char* const INJECT_HELLO = R"({"op": "inject-sms", "from": "+12025550123",
    "text": "hellohello", "time": "20/06/15,20:32:05-24"})";
// To +12025550123, validity one octet, "Hello".
const std::string SUBMIT = "0011000B912120550521F30000AA05C8329BFD06";

sDeliver message(const std::string& text) {
    sDeliver deliver;
    deliver.serviceCentre = "+12025550100";
    deliver.from = "+12025550123";
    deliver.text = text;
    deliver.time = *parseClock("20/06/15,20:32:05-24");
    return deliver;
}

// The user data length and user data of a message.
std::string userData(const sDeliver& deliver) {
    const std::string pdu = buildDeliver(deliver);
    const size_t head = std::string("07912120550501F0040B912120550521F300000260510223504A").size();
    return pdu.substr(head);
}

}  // namespace

TEST(Le910simPdu, Deliver_InTheSevenBitAlphabet) {
    EXPECT_EQ(buildDeliver(message("hellohello")), HELLO);
    EXPECT_EQ(pduLength(HELLO), 28);
}

TEST(Le910simPdu, Deliver_WithExtensionCharacters) {
    EXPECT_EQ(userData(message("@$\xC3\xA4\xE2\x82\xAC{")), "0700C17E53DEA000");
}

TEST(Le910simPdu, Deliver_InUcs2WhenNeeded) {
    const std::string pdu = buildDeliver(message("\xD0\x96\xD1\x8F"));
    EXPECT_EQ(pdu, "07912120550501F0040B912120550521F300080260510223504A040416044F");
    EXPECT_EQ(userData(message("\xF0\x9F\x98\x80")), "04D83DDE00");
}

TEST(Le910simPdu, Deliver_InUcs2AndEightBitWhenAsked) {
    sDeliver deliver = message("Hi");
    deliver.coding = eSMS_UCS2;
    EXPECT_EQ(userData(deliver), "0400480069");
    deliver.coding = eSMS_8BIT;
    EXPECT_EQ(userData(deliver), "024869");
}

TEST(Le910simPdu, Deliver_ConcatenatedWithFillBits) {
    sDeliver deliver = message("part one");
    deliver.reference = 0xCC;
    deliver.total = 2;
    deliver.part = 1;
    EXPECT_EQ(userData(deliver), "0F050003CC0201E061391DF4769701");
    EXPECT_EQ(buildDeliver(deliver).substr(16, 2), "44");
    deliver = message("part two");
    deliver.reference = 0x1234;
    deliver.wideReference = true;
    deliver.total = 2;
    deliver.part = 2;
    EXPECT_EQ(userData(deliver), "1006080412340202F0B09C0EA2DFDF");
}

TEST(Le910simPdu, Deliver_FromANameAndAShortNumber) {
    sDeliver deliver = message("hellohello");
    deliver.serviceCentre.clear();
    deliver.from = "MyBank";
    EXPECT_EQ(buildDeliver(deliver), "00040BD0CDBC30EC5E0300000260510223504A0AE8329BFD4697D9EC37");
    deliver.from = "12345";
    EXPECT_EQ(buildDeliver(deliver),
              "0004058121"
              "43F5"
              "00000260510223504A0AE8329BFD4697D9EC37");
}

TEST(Le910simPdu, Deliver_ThatDoesNotFit_IsRefused) {
    EXPECT_NO_THROW(buildDeliver(message(std::string(160, 'a'))));
    EXPECT_THROW(buildDeliver(message(std::string(161, 'a'))), std::invalid_argument);
    EXPECT_THROW(buildDeliver(message("\xFF")), std::invalid_argument);
    sDeliver deliver = message(std::string(153, 'a'));
    deliver.total = 2;
    deliver.part = 1;
    EXPECT_NO_THROW(buildDeliver(deliver));
    deliver.text += 'a';
    EXPECT_THROW(buildDeliver(deliver), std::invalid_argument);
    deliver.text = "a";
    deliver.part = 3;
    EXPECT_THROW(buildDeliver(deliver), std::invalid_argument);
    deliver = message("a");
    deliver.from = "a name that is too long";
    EXPECT_THROW(buildDeliver(deliver), std::invalid_argument);
}

// Published for an HE910, with another maker's packing.
TEST(Le910simPdu, RecordedDeliver_IsRead) {
    const sDeliverView view = viewDeliver(
        "07916163838428F9040B916121021021F700005190514164220A23C4B0BCFD5E8740C4B0BCFD5E83C26E32481"
        "96687C9A0301D440DBBC3677918");
    EXPECT_EQ(view.from, "+16122001127");
    EXPECT_EQ(view.time, "15/09/15,14:46:22-20");
    EXPECT_EQ(view.text, "Darmok! Darmok and Jalad at Tanagra");
}

TEST(Le910simPdu, Submit_IsRead) {
    std::string why;
    const std::optional<sSentSms> sms = readSubmit(SUBMIT, why);
    ASSERT_TRUE(sms) << why;
    EXPECT_EQ(sms->number, "+12025550123");
    EXPECT_EQ(sms->text, "Hello");
    EXPECT_EQ(sms->coding, "gsm7");
    EXPECT_EQ(sms->total, 0);
}

TEST(Le910simPdu, SubmitConcatenated_ShowsReferencePartAndTotal) {
    std::string why;
    const std::optional<sSentSms> sms =
        readSubmit("0041000B912120550521F300000F050003CC0201E061391DF4769701", why);
    ASSERT_TRUE(sms) << why;
    EXPECT_EQ(sms->text, "part one");
    EXPECT_EQ(sms->reference, 0xCC);
    EXPECT_EQ(sms->part, 1);
    EXPECT_EQ(sms->total, 2);
}

TEST(Le910simPdu, SubmitInUcs2ToANationalNumber) {
    std::string why;
    const std::optional<sSentSms> sms = readSubmit("0001000A8102525510320008040416044F", why);
    ASSERT_TRUE(sms) << why;
    EXPECT_EQ(sms->number, "2025550123");
    EXPECT_EQ(sms->text, "\xD0\x96\xD1\x8F");
    EXPECT_EQ(sms->coding, "ucs2");
}

TEST(Le910simPdu, SubmitCutAnywhereOrTooLong_IsRefused) {
    std::string why;
    for (size_t length = 0; length < SUBMIT.size(); ++length) {
        EXPECT_FALSE(readSubmit(SUBMIT.substr(0, length), why)) << length;
        EXPECT_FALSE(why.empty());
    }
    EXPECT_FALSE(readSubmit(SUBMIT + "00", why));
    EXPECT_EQ(why, "octets left after the user data");
    EXPECT_FALSE(readSubmit(HELLO, why));
    EXPECT_EQ(why, "not a SUBMIT");
    EXPECT_FALSE(readSubmit("00110", why));
}

TEST(Le910simPdu, EveryCharacterOfTheAlphabet_SurvivesEncodingAndDecoding) {
    std::vector<uint8_t> all;
    for (uint8_t septet = 0; septet < 128; ++septet) {
        if (septet != 0x1B) all.push_back(septet);
    }
    std::vector<uint8_t> again;
    ASSERT_TRUE(toSeptets(fromSeptets(all), again));
    EXPECT_EQ(again, all);
    EXPECT_EQ(unpackSeptets(packSeptets(all, 3), all.size(), 3), all);
}

TEST(Le910simSms, InjectedText_IsListedOnceAsUnread) {
    cModemDriver sim;
    const json answer = sim.order(INJECT_HELLO);
    EXPECT_EQ(answer.at("pdu"), HELLO);
    EXPECT_EQ(answer.at("stored"), true);
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMGL: 1,0,\"\",28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGL=0"), OK);
    EXPECT_EQ(sim.reply("AT+CMGL=1"), "\r\n+CMGL: 1,1,\"\",28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGL=4"), "\r\n+CMGL: 1,1,\"\",28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGD=1,1"), OK);
    EXPECT_EQ(sim.reply("AT+CMGL=4"), OK);
}

TEST(Le910simSms, DeleteRead_KeepsTheUnread) {
    cModemDriver sim;
    sim.order(INJECT_HELLO);
    sim.reply("AT+CMGR=1");
    sim.order(INJECT_HELLO);
    for (const char* command : {"AT+CMGD=1,1", "AT+CMGD=1,2", "AT+CMGD=1,3"}) {
        EXPECT_EQ(sim.reply(command), OK);
        EXPECT_EQ(sim.state().at("sms").at("stored").size(), 1U);
    }
    EXPECT_EQ(sim.reply("AT+CMGD=1,4"), OK);
    EXPECT_TRUE(sim.state().at("sms").at("stored").empty());
}

TEST(Le910simSms, ReadAndDeleteByIndex) {
    cModemDriver sim(R"({"sms": {"bare_alpha": true}})");
    sim.order(INJECT_HELLO);
    EXPECT_EQ(sim.reply("AT+CMGR=1"), "\r\n+CMGR: 0,,28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGR=1"), "\r\n+CMGR: 1,,28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGD=1"), OK);
    EXPECT_EQ(sim.reply("AT+CMGD=1,0"), "\r\n+CMS ERROR: 321\r\n");
    EXPECT_EQ(sim.reply("AT+CMGR=1"), "\r\n+CMS ERROR: 321\r\n");
}

TEST(Le910simSms, TextMode_ListsByWord) {
    cModemDriver sim;
    sim.order(INJECT_HELLO);
    EXPECT_EQ(sim.reply("AT+CMGF=1"), OK);
    EXPECT_EQ(sim.reply("AT+CMGL=\"REC UNREAD\""),
              "\r\n+CMGL: 1,\"REC UNREAD\",\"+12025550123\",\"\",\"20/06/15,20:32:05-24\"\r\n"
              "hellohello\r\n" +
                  OK);
    EXPECT_EQ(sim.reply("AT+CMGL=\"REC UNREAD\""), OK);
    EXPECT_NE(sim.reply("AT+CMGL=\"ALL\"").find("\"REC READ\""), std::string::npos);
    EXPECT_TRUE(sim.modem.problems().empty());
    EXPECT_EQ(sim.reply("AT+CMGL=4"), "\r\nERROR\r\n");
    EXPECT_EQ(sim.modem.problems().size(), 1U);
}

TEST(Le910simSms, MemoryFull_TheNetworkKeepsTheMessage) {
    cModemDriver sim(R"({"sms": {"capacity": 1}})");
    sim.reply("AT+CNMI=2,1");
    sim.order(INJECT_HELLO);
    EXPECT_EQ(sim.readAt(0), "\r\n+CMTI: \"SM\",1\r\n");
    EXPECT_EQ(sim.order(INJECT_HELLO).at("stored"), false);
    EXPECT_EQ(sim.reply("AT+CPMS?"), "\r\n+CPMS: \"SM\",1,1,\"SM\",1,1,\"SM\",1,1\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMGL: 1,0,\"\",28\r\n" + HELLO + "\r\n" + OK);
    EXPECT_EQ(sim.reply("AT+CMGD=1,1"), "\r\n+CMTI: \"SM\",1\r\nAT+CMGD=1,1\r" + OK);
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMGL: 1,0,\"\",28\r\n" + HELLO + "\r\n" + OK);
}

TEST(Le910simSms, InjectedPdu_IsStoredUnchanged) {
    cModemDriver sim;
    EXPECT_TRUE(sim.order(R"({"op": "inject-sms", "pdu": "00FFEE"})").at("ok"));
    EXPECT_EQ(sim.reply("AT+CMGL=0"), "\r\n+CMGL: 1,0,\"\",2\r\n00FFEE\r\n" + OK);
    EXPECT_FALSE(sim.order(R"({"op": "inject-sms", "pdu": "0G"})").at("ok"));
    EXPECT_FALSE(sim.order(R"({"op": "inject-sms", "pdu": "08FF"})").at("ok"));
}

TEST(Le910simSms, SendPdu_PromptThenReference) {
    cModemDriver sim;
    EXPECT_EQ(sim.at("AT+CMGS=19"), "AT+CMGS=19\r\r\n> ");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z), SUBMIT + "\r\n+CMGS: 1\r\n\r\nOK\r\n");
    EXPECT_EQ(sim.at("AT"), "AT\r" + OK);
    const json sent = sim.state().at("sms").at("sent");
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].at("number"), "+12025550123");
    EXPECT_EQ(sent[0].at("text"), "Hello");
    EXPECT_EQ(sent[0].at("pdu"), SUBMIT);
    EXPECT_EQ(sim.modem.commands(),
              (std::vector<std::string>{"AT+CMGS=19", SUBMIT + CTRL_Z, "AT"}));
    EXPECT_TRUE(sim.modem.problems().empty());
}

TEST(Le910simSms, SendPduOfAnotherLength_IsRefusedAndNoted) {
    cModemDriver sim;
    sim.at("AT+CMGS=18");
    EXPECT_EQ(sim.reply(SUBMIT + CTRL_Z), SUBMIT + "\r\n+CMS ERROR: 304\r\n");
    ASSERT_EQ(sim.modem.problems().size(), 1U);
    EXPECT_NE(sim.modem.problems()[0].find("AT+CMGS gave 18 octets, the PDU has 19"),
              std::string::npos);
}

TEST(Le910simSms, SendText_KeepsNumberAndText) {
    cModemDriver sim;
    sim.reply("AT+CMGF=1");
    EXPECT_EQ(sim.reply("AT+CSCS=\"IRA\""), OK);
    EXPECT_EQ(sim.reply("AT+CMGS=\"12025550123\""), "\r\n> ");
    EXPECT_EQ(sim.at("two\nlines" + CTRL_Z), "two\nlines\r\n+CMGS: 1\r\n\r\nOK\r\n");
    const json sent = sim.state().at("sms").at("sent")[0];
    EXPECT_EQ(sent.at("number"), "12025550123");
    EXPECT_EQ(sent.at("text"), "two\nlines");
    EXPECT_EQ(sent.at("coding"), "IRA");
}

TEST(Le910simSms, Escape_LeavesThePrompt) {
    cModemDriver sim;
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.at(ESC), OK);
    EXPECT_EQ(sim.at("AT"), "AT\r" + OK);
    EXPECT_TRUE(sim.state().at("sms").at("sent").empty());
}

TEST(Le910simSms, SendWithoutService_IsRefused) {
    cModemDriver sim(R"({"registration": {"state": "searching"}})");
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z), SUBMIT + "\r\n+CMS ERROR: 331\r\n");
}

TEST(Le910simSms, SendDelay_HoldsTheReference) {
    cModemDriver sim(R"({"sms": {"send_delay_ms": 2000}})");
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z, 1980), SUBMIT);
    EXPECT_EQ(sim.readAt(20), "\r\n+CMGS: 1\r\n\r\nOK\r\n");
}

TEST(Le910simSms, PromptTimeout_EndsThePrompt) {
    cModemDriver sim(R"({"sms": {"prompt_timeout_ms": 5000}})");
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.readAt(4990), "");
    EXPECT_EQ(sim.readAt(10), "\r\nERROR\r\n");
    EXPECT_EQ(sim.at("AT"), "AT\r" + OK);
}

TEST(Le910simSms, FaultAtTheData_GivesACmsErrorOnce) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "prefix": "AT+CMGS", "stage": "data", "kind": "cms",
                  "number": 500, "count": 1})");
    EXPECT_EQ(sim.reply("AT+CMGS=19"), "\r\n> ");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z), SUBMIT + "\r\n+CMS ERROR: 500\r\n");
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z), SUBMIT + "\r\n+CMGS: 1\r\n\r\nOK\r\n");
}

TEST(Le910simSms, SilenceAtTheData_LeavesThePromptToEscape) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "prefix": "AT+CMGS", "stage": "data", "kind": "silence"})");
    sim.at("AT+CMGS=19");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z, 61000), "");
    EXPECT_EQ(sim.at(ESC), OK);
    EXPECT_EQ(sim.at("AT"), "AT\r" + OK);
    EXPECT_TRUE(sim.state().at("sms").at("sent").empty());
}

TEST(Le910simSms, SilenceInsteadOfThePrompt_DoesNotNoteTheTextAsAProblem) {
    cModemDriver sim;
    sim.order(R"({"op": "fault", "prefix": "AT+CMGS", "kind": "silence"})");
    EXPECT_EQ(sim.at("AT+CMGS=19", 1000), "");
    EXPECT_EQ(sim.at(SUBMIT + CTRL_Z, 61000), "");
    EXPECT_EQ(sim.at(ESC), "");
    EXPECT_EQ(sim.at("AT"), "AT\r" + OK);
    EXPECT_TRUE(sim.modem.problems().empty());
}

}  // namespace le910sim
