#include "recording/pdu_stand_in.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/include/sms_pdu.h"
#include "tests/unit/platform/sms_pdu/support.h"

namespace {

std::string replaced(std::string pdu) {
    static const cStandIns STAND_INS;
    replacePdu(STAND_INS, pdu.data(), pdu.size());
    return pdu;
}

// A character of a name may need two septets, and its stand-in two letters.
bool isNumber(const std::string& from) {
    return from.find_first_not_of("+0123456789") == std::string::npos;
}

// A stand-in is a message of the same form with other content.
void expectStandIn(const sExample& example, const sDecoded& after) {
    EXPECT_EQ(after.result, 0) << example.name;
    EXPECT_EQ(after.sms.timestamp, example.timestamp) << example.name;
    EXPECT_EQ(after.sms.reference, example.reference) << example.name;
    EXPECT_EQ(after.sms.partNumber, example.partNumber) << example.name;
    EXPECT_EQ(after.sms.numberOfParts, example.numberOfParts) << example.name;
    EXPECT_EQ(after.sms.dataCoding, example.dataCoding) << example.name;
    if (isNumber(example.from)) {
        EXPECT_EQ(after.sms.from.size(), example.from.size()) << example.name;
    }
    // A short one may be its own stand-in by chance.
    EXPECT_TRUE(example.from.size() <= 4 || after.sms.from != example.from) << example.name;
    EXPECT_TRUE(example.userData.size() <= 4 || after.text() != example.userData) << example.name;
}

const std::string& deliver() {
    static const std::string PDU = sTestDeliver().pdu();
    return PDU;
}

}  // namespace

TEST(PduStandIn, EveryExample_StaysAMessageWithOtherNumberAndText) {
    for (const sExample& example : examples3gpp())
        expectStandIn(example, decode(replaced(example.pdu), example.length));
    for (const sExample& example : examplesInNationalLanguages())
        expectStandIn(example, decode(replaced(example.pdu), example.length));
    for (const sExample& example : examples3gpp2())
        expectStandIn(example, decode3gpp2(replaced(example.pdu), example.length));
}

TEST(PduStandIn, SamePdu_HasTheSameStandIn) {
    EXPECT_EQ(replaced(deliver()), replaced(deliver()));
}

TEST(PduStandIn, OtherProcess_HasOtherStandIns) {
    const cStandIns other;
    std::string pdu = deliver();
    replacePdu(other, pdu.data(), pdu.size());
    EXPECT_NE(pdu, replaced(deliver()));
}

TEST(PduStandIn, Submit_StaysOne) {
    // Of sms_encode_pdus: to +12025550123.
    sms_encode_result_t encoded;
    ASSERT_EQ(sms_encode_pdus({"12025550123", true, "", "The pump of lift 7 has failed"}, 0, false,
                              encoded),
              0);
    const std::string before = encoded.pdus.at(0);
    const std::string after = replaced(before);
    ASSERT_EQ(after.size(), before.size());
    EXPECT_NE(after, before);
    EXPECT_EQ(after.find('F'), before.find('F'));  // not given up
    EXPECT_EQ(after.substr(0, 10), before.substr(0, 10));
}

TEST(PduStandIn, PartOfALongMessage_KeepsItsReference) {
    sms_encode_result_t encoded;
    ASSERT_EQ(sms_encode_pdus({"12025550123", true, "", std::string(400, 'p')}, 0, false, encoded),
              0);
    ASSERT_GT(encoded.pdus.size(), 1U);
    for (const std::string& pdu : encoded.pdus) {
        const size_t header = pdu.find("050003");
        ASSERT_NE(header, std::string::npos) << pdu;
        EXPECT_EQ(replaced(pdu).substr(header, 12), pdu.substr(header, 12));
    }
}

TEST(PduStandIn, NoPdu_IsReplacedWhole) {
    EXPECT_EQ(replaced("0F0F0F0F0F0F0F0F"), "FFFFFFFFFFFFFFFF");
    EXPECT_EQ(replaced(std::string(2000, '0')), std::string(2000, 'F'));
}

TEST(PduStandIn, CutAnywhere_StaysInItsBounds) {
    const std::string pdu = deliver();
    for (size_t size = 2; size < pdu.size(); size += 2)
        EXPECT_EQ(replaced(pdu.substr(0, size)).size(), size);
}
