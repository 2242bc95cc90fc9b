#include <gtest/gtest.h>

#include "fuzz/decoded_message_check.h"
#include "tests/unit/platform/sms_pdu/support.h"

// PDUs that were cut or changed in transit. Under the address sanitizer this also finds a read
// beyond the end of a PDU.

namespace {

using tDecoder = int (*)(const std::string&, size_t, sms_t&, bool);

void expectSound(tDecoder decoder, const std::string& pdu, size_t length) {
    sms_t sms;
    const int result = decoder(pdu, length, sms, false);
    const char* const wrong = wrongInDecoded(result, sms);
    EXPECT_EQ(wrong, nullptr) << wrong << " " << pdu << " " << length;
}

void expectRefused(tDecoder decoder, const std::string& pdu, size_t length) {
    sms_t sms;
    sms.from = "left over";
    sms.numberOfParts = 7;
    EXPECT_EQ(decoder(pdu, length, sms, false), -1) << pdu << " " << length;
    EXPECT_TRUE(isReset(sms)) << pdu << " " << length;
}

// Cut, with the announced length of the whole PDU.
void expectCutRefused(tDecoder decoder, const std::vector<sExample>& examples) {
    for (const sExample& example : examples) {
        for (size_t digits = 0; digits < example.pdu.size(); digits++) {
            expectRefused(decoder, example.pdu.substr(0, digits), example.length);
        }
    }
}

void expectChangesSound(tDecoder decoder, const std::vector<sExample>& examples) {
    for (const sExample& example : examples) {
        for (size_t at = 0; at < example.pdu.size(); at += 2) {
            for (unsigned octet = 0; octet < 256; octet++) {
                std::string changed = example.pdu;
                changed.replace(at, 2, hexOctet(octet));
                expectSound(decoder, changed, example.length);
            }
        }
    }
}

}  // namespace

TEST(SmsRefusal, CutAnywhere_IsRefused) {
    expectCutRefused(sms_decode_pdu, examples3gpp());
    expectCutRefused(sms_decode_3gpp2_pdu, examples3gpp2());
}

// The announced length is cut too, so only the lengths within the PDU show the cut.
TEST(SmsRefusal, CutWithTheAnnouncedLengthCutToo_IsRefused3gpp) {
    for (const sExample& example : examples3gpp()) {
        const size_t prefixDigits = example.pdu.size() - example.length * 2;
        for (size_t octets = 0; octets < example.length; octets++) {
            expectRefused(sms_decode_pdu, example.pdu.substr(0, prefixDigits + octets * 2), octets);
        }
    }
}

// A cut between two elements of a 3GPP2 message leaves a valid one, though perhaps without text.
TEST(SmsRefusal, CutWithTheAnnouncedLengthCutToo_IsValid3gpp2) {
    for (const sExample& example : examples3gpp2()) {
        size_t taken = 0;
        for (size_t octets = 0; octets < example.length; octets++) {
            const std::string pdu = example.pdu.substr(0, octets * 2);
            sms_t sms;
            expectSound(sms_decode_3gpp2_pdu, pdu, octets);
            if (sms_decode_3gpp2_pdu(pdu, octets, sms, false) == 0) taken++;
        }
        EXPECT_EQ(taken, 0u) << example.name;  // the bearer data comes last
    }
}

TEST(SmsRefusal, AnyOctetChanged_IsRefusedOrValid) {
    expectChangesSound(sms_decode_pdu, examples3gpp());
    expectChangesSound(sms_decode_3gpp2_pdu, examples3gpp2());
}

TEST(SmsRefusal, AnnouncedLonger_IsRefused) {
    for (const sExample& example : examples3gpp()) {
        for (size_t more = 1; more < 300; more++) {
            const bool prefixTaken = (example.length + more) * 2 == example.pdu.size();
            if (prefixTaken) continue;
            expectRefused(sms_decode_pdu, example.pdu, example.length + more);
        }
    }
    for (const sExample& example : examples3gpp2()) {
        for (size_t more = 1; more < 300; more++) {
            expectRefused(sms_decode_3gpp2_pdu, example.pdu, example.length + more);
        }
    }
}

TEST(SmsRefusal, DecoderOfTheOtherFamily_RefusesOrGivesAValidMessage) {
    for (const sExample& example : examples3gpp()) {
        expectSound(sms_decode_3gpp2_pdu, example.pdu, example.pdu.size() / 2);
    }
    for (const sExample& example : examples3gpp2()) {
        expectSound(sms_decode_pdu, example.pdu, example.pdu.size() / 2);
    }
}

TEST(SmsRefusal, RandomOctets_AreRefusedOrValid) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < 20000; i++) {
        const size_t octets = randomBelow(random, 200);
        std::string pdu;
        while (pdu.size() < octets * 2)
            pdu += hexOctet(random());
        expectSound(sms_decode_pdu, pdu, octets);
        expectSound(sms_decode_pdu, "00" + pdu, octets);
        expectSound(sms_decode_3gpp2_pdu, pdu, octets);
    }
}
