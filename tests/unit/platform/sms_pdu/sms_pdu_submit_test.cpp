#include <gtest/gtest.h>

#include <set>

#include "tests/unit/platform/sms_pdu/support.h"

namespace {

std::vector<std::string> encode(const std::string& message,
                                const std::string& number = "46708251358",
                                bool international = true) {
    sms_encode_request_t request;
    request.number = number;
    request.international = international;
    request.message = message;
    sms_encode_result_t result;
    EXPECT_EQ(sms_encode_pdus(request, 0, false, result), 0);
    return result.pdus;
}

void expectRefused(const sms_encode_request_t& request, int type = 0) {
    sms_encode_result_t result;
    result.pdus = {"left over"};
    EXPECT_EQ(sms_encode_pdus(request, type, false, result), -1) << request.number;
    EXPECT_TRUE(result.pdus.empty());
}

// The octets before TP-UDL for the number of encode().
const char SINGLE[] = "0001000B916407281553F80000";
const char PART[] = "0041000B916407281553F80000";

struct sPart {
    unsigned length;  // TP-UDL
    std::string header;
    std::vector<uint8_t> septets;
};

sPart partOf(const std::string& pdu) {
    EXPECT_EQ(pdu.substr(0, 26), PART);
    sPart part;
    part.length = static_cast<unsigned>(std::stoul(pdu.substr(26, 2), nullptr, 16));
    part.header = pdu.substr(28, 12);
    const std::string userData = pdu.substr(28);
    EXPECT_EQ(userData.size() / 2, (part.length * 7 + 7) / 8);
    EXPECT_LE(userData.size() / 2, 140u);
    // The last fill bit and the bits after the last septet are zero.
    EXPECT_EQ(std::stoul(userData.substr(12, 2), nullptr, 16) & 1, 0u);
    part.septets = septetsOfHex(userData, 49, part.length - 7);
    EXPECT_EQ(userData.substr(12), packedHex(part.septets, 1));
    return part;
}

std::string referenceOf(const std::string& pdu) {
    return partOf(pdu).header.substr(6, 2);
}

}  // namespace

TEST(SmsSubmit, PublishedExample) {
    EXPECT_EQ(encode("hellohello"),
              std::vector<std::string>{"0001000B916407281553F800000AE8329BFD4697D9EC37"});
}

TEST(SmsSubmit, Numbers) {
    EXPECT_EQ(encode("hi", "1234", false), std::vector<std::string>{"00010004812143000002E834"});
    EXPECT_EQ(encode("hi", "72500", false), std::vector<std::string>{"00010005812705F0000002E834"});
    EXPECT_EQ(encode("hi", "7", true), std::vector<std::string>{"0001000191F7000002E834"});
    EXPECT_EQ(encode("hi", "12345678901234567890", true),
              std::vector<std::string>{"000100149121436587092143658709000002E834"});
}

TEST(SmsSubmit, NumbersThatCannotBeDialled_AreRefused) {
    for (const char* number : {"", "+4670", "46 70", "4670a", "*100#", "-1",
                               "123456789012345678901", "4670\xB2", "4670\n"}) {
        sms_encode_request_t request;
        request.number = number;
        request.message = "hi";
        expectRefused(request);
        request.message = std::string(200, 'x');
        expectRefused(request);
    }
}

TEST(SmsSubmit, OwnAddress_IsNotInThePdu) {
    sms_encode_request_t request;
    request.number = "1234";
    request.message = "hi";
    sms_encode_result_t without;
    sms_encode_result_t with;
    ASSERT_EQ(sms_encode_pdus(request, 0, false, without), 0);
    request.address = "+12025550101";
    ASSERT_EQ(sms_encode_pdus(request, 0, false, with), 0);
    EXPECT_EQ(with.pdus, without.pdus);
}

TEST(SmsSubmit, OtherTypes_AreRefused) {
    sms_encode_request_t request;
    request.number = "1234";
    request.message = "hi";
    for (const int type : {1, 2, -1})
        expectRefused(request, type);
}

TEST(SmsSubmit, MessageThatIsTooLong_IsRefused) {
    sms_encode_request_t request;
    request.number = "1234";
    request.message = std::string(919, 'a');
    expectRefused(request);
}

TEST(SmsSubmit, EmptyMessage_IsSent) {
    EXPECT_EQ(encode(""), std::vector<std::string>{std::string(SINGLE) + "00"});
}

TEST(SmsSubmit, EveryCharacter) {
    const std::string singles =
        "@$\n\r_ !\"#%&'()*+,-./0123456789:;<=>?ABCDEFGHIJKLMNOPQRSTUVWXYZ"
        "abcdefghijklmnopqrstuvwxyz";
    const std::string pairs = "\f^{}\\[~]|";
    for (unsigned code = 0; code < 256; code++) {
        const char character = static_cast<char>(code);
        const std::string pdu = encode(std::string(1, character)).at(0);
        const bool pair = code != 0 && pairs.find(character) != std::string::npos;
        const bool known = pair || (code != 0 && singles.find(character) != std::string::npos);
        EXPECT_EQ(pdu.substr(26, 2), pair ? "02" : "01") << code;
        sTestDeliver deliver;
        deliver.length = pair ? 2 : 1;
        deliver.userData = pdu.substr(28);
        EXPECT_EQ(decode(deliver).text(), known ? std::string(1, character) : "?") << code;
    }
}

TEST(SmsSubmit, OneMessage_HoldsUpTo160Septets) {
    const std::vector<std::string> plain = encode(std::string(160, 'a'));
    ASSERT_EQ(plain.size(), 1u);
    EXPECT_EQ(plain[0], SINGLE + hexOctet(160) + packedHex(std::vector<uint8_t>(160, 'a')));
    EXPECT_EQ(encode(std::string(161, 'a')).size(), 2u);
    EXPECT_EQ(encode(std::string(80, '{')).size(), 1u);
    EXPECT_EQ(encode(std::string(81, '{')).size(), 2u);
    EXPECT_EQ(encode(std::string(158, 'a') + "{").size(), 1u);
    EXPECT_EQ(encode(std::string(159, 'a') + "{").size(), 2u);
}

TEST(SmsSubmit, Parts_Hold153Septets) {
    const std::string message = std::string(153, 'a') + std::string(153, 'b') + "c";
    const std::vector<std::string> pdus = encode(message);
    ASSERT_EQ(pdus.size(), 3u);
    const std::string reference = referenceOf(pdus[0]);
    EXPECT_NE(reference, "00");
    const std::vector<uint8_t> septets[] = {
        std::vector<uint8_t>(153, 'a'), std::vector<uint8_t>(153, 'b'), {'c'}};
    for (unsigned i = 0; i < 3; i++) {
        const sPart part = partOf(pdus[i]);
        EXPECT_EQ(part.header, "050003" + reference + "03" + hexOctet(i + 1));
        EXPECT_EQ(part.septets, septets[i]);
    }
}

TEST(SmsSubmit, LongestMessages) {
    EXPECT_EQ(encode(std::string(918, 'a')).size(), 6u);
    EXPECT_EQ(encode(std::string(306, 'a')).size(), 2u);
    EXPECT_EQ(encode(std::string(307, 'a')).size(), 3u);
    const std::vector<std::string> pairs = encode(std::string(918, '{'));
    ASSERT_EQ(pairs.size(), 13u);
    for (const std::string& pdu : pairs)
        EXPECT_EQ(partOf(pdu).header.substr(8, 2), "0D");
}

TEST(SmsSubmit, EscapePairs_AreNotSplit) {
    for (size_t before = 140; before < 160; before++) {
        const std::string message =
            std::string(before, 'a') + "{" + std::string(160, 'b') + "€}" + std::string(20, 'c');
        for (const std::string& pdu : encode(message)) {
            const sPart part = partOf(pdu);
            EXPECT_LE(part.septets.size(), 153u);
            EXPECT_NE(part.septets.back(), 0x1B) << before;
        }
    }
    const std::vector<std::string> pdus = encode(std::string(152, 'a') + "{bbbbbbbb");
    ASSERT_EQ(pdus.size(), 2u);
    EXPECT_EQ(partOf(pdus[0]).septets, std::vector<uint8_t>(152, 'a'));
    EXPECT_EQ(partOf(pdus[1]).septets[0], 0x1B);
    EXPECT_EQ(partOf(pdus[1]).septets[1], 0x28);
}

TEST(SmsSubmit, References_DifferAndAreNeverZero) {
    const std::string message(200, 'x');
    std::set<std::string> seen;
    std::string previous;
    for (int i = 0; i < 600; i++) {
        const std::vector<std::string> pdus = encode(message);
        const std::string reference = referenceOf(pdus.at(0));
        EXPECT_EQ(referenceOf(pdus.at(1)), reference);
        EXPECT_NE(reference, previous);
        EXPECT_NE(reference, "00");
        if (i < 255) {
            EXPECT_TRUE(seen.insert(reference).second) << i;
        }
        previous = reference;
    }
}

TEST(SmsSubmit, SameNumberSentTwice_TakesANewReference) {
    const std::string message(200, 'x');
    EXPECT_NE(encode(message), encode(message));
    EXPECT_EQ(encode("short"), encode("short"));
}

TEST(SmsSubmit, DebugOutput_PrintsThePdus) {
    sms_encode_request_t request;
    request.number = "1234";
    request.message = "hi";
    sms_encode_result_t result;
    testing::internal::CaptureStdout();
    sms_encode_pdus(request, 0, true, result);
    request.number = "12\n";
    sms_encode_pdus(request, 0, true, result);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "1 PDUs for a message of 2 characters to '1234'\n 00010004812143000002E834\n"
              "No PDU for a message of 2 characters to '12_'\n");
}
