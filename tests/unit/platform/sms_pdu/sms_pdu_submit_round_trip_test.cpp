#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

// Random messages there and back. CELLSLOT_SEED=<number> repeats a run.

namespace {

constexpr int ROUNDS = 2000;

// Characters of the default alphabet with their septets; those of the extension table come last.
struct sCharacter {
    const char* utf8;
    std::vector<uint8_t> septets;
};

const sCharacter CHARACTERS[] = {
    {"@", {0x00}},       {"£", {0x01}},        {"$", {0x02}},        {"é", {0x05}},
    {"\n", {0x0A}},      {"Ø", {0x0B}},        {"\r", {0x0D}},       {"Δ", {0x10}},
    {"_", {0x11}},       {"Ξ", {0x1A}},        {"É", {0x1F}},        {" ", {0x20}},
    {"¤", {0x24}},       {"?", {0x3F}},        {"¡", {0x40}},        {"A", {0x41}},
    {"Z", {0x5A}},       {"§", {0x5F}},        {"¿", {0x60}},        {"a", {0x61}},
    {"z", {0x7A}},       {"à", {0x7F}},        {"\f", {0x1B, 0x0A}}, {"^", {0x1B, 0x14}},
    {"{", {0x1B, 0x28}}, {"\\", {0x1B, 0x2F}}, {"|", {0x1B, 0x40}},  {"€", {0x1B, 0x65}},
};

const char SENDABLE[] = "@$\n\r_ !\"#%&'()*+,-./0123456789:;<=>?AMZamz\f^{}\\[~]|";

struct sMessage {
    std::string utf8;
    std::vector<uint8_t> septets;
};

sMessage randomMessage(std::mt19937& random, size_t maxSeptets) {
    sMessage message;
    const size_t wanted = randomBelow(random, maxSeptets + 1);
    for (;;) {
        const sCharacter& next = CHARACTERS[randomBelow(random, std::size(CHARACTERS))];
        if (message.septets.size() + next.septets.size() > wanted) return message;
        message.utf8 += next.utf8;
        message.septets.insert(message.septets.end(), next.septets.begin(), next.septets.end());
    }
}

// What a network would deliver for a SUBMIT PDU of sms_encode_pdus: number, user data and its
// length are in both.
sDecoded decodeSubmitted(const std::string& pdu, size_t numberDigits) {
    const size_t addressDigits = 4 + (numberDigits + 1) / 2 * 2;
    const size_t lengthAt = 6 + addressDigits + 4;
    sTestDeliver deliver;
    deliver.firstOctet = pdu.substr(2, 2) == "41" ? "40" : "00";
    deliver.address = pdu.substr(6, addressDigits);
    deliver.length = std::stoul(pdu.substr(lengthAt, 2), nullptr, 16);
    deliver.userData = pdu.substr(lengthAt + 2);
    return decode(deliver);
}

}  // namespace

TEST(SmsRoundTrip, DeliveredTexts_3gpp) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        const std::string number = randomDigits(random, 1 + randomBelow(random, 20));
        const sMessage message = randomMessage(random, 160);
        sTestDeliver deliver;
        deliver.address = hexOctet(number.size()) + "91" + swapped(number);
        deliver.length = message.septets.size();
        deliver.userData = packedHex(message.septets);
        const sDecoded decoded = decode(deliver);
        ASSERT_EQ(decoded.result, 0) << deliver.pdu();
        ASSERT_EQ(decoded.text(), message.utf8) << deliver.pdu();
        ASSERT_EQ(decoded.sms.from, "+" + number) << deliver.pdu();
    }
}

TEST(SmsRoundTrip, DeliveredParts_3gpp) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        const unsigned total = 2 + static_cast<unsigned>(randomBelow(random, 254));
        const unsigned part = 1 + static_cast<unsigned>(randomBelow(random, total));
        const unsigned reference = 1 + static_cast<unsigned>(randomBelow(random, 65535));
        std::string filler;
        for (size_t octets = randomBelow(random, 20); octets > 0; octets--)
            filler += "A5";
        const std::string header = element(0x70, filler) + "0804" + hexOctet(reference >> 8) +
                                   hexOctet(reference) + hexOctet(total) + hexOctet(part);
        const sMessage message = randomMessage(random, 120);
        const sTestDeliver deliver = deliverWithHeader(header, message.septets);
        const sDecoded decoded = decode(deliver);
        ASSERT_EQ(decoded.text(), message.utf8) << deliver.pdu();
        ASSERT_EQ(decoded.sms.reference, static_cast<int>(reference)) << deliver.pdu();
        ASSERT_EQ(decoded.sms.partNumber, static_cast<int>(part)) << deliver.pdu();
        ASSERT_EQ(decoded.sms.numberOfParts, static_cast<int>(total)) << deliver.pdu();
    }
}

TEST(SmsRoundTrip, SentTexts) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        sms_encode_request_t request;
        request.number = randomDigits(random, 1 + randomBelow(random, 20));
        request.international = randomBelow(random, 2) == 1;
        const size_t length = randomBelow(random, 919);
        while (request.message.size() < length) {
            request.message += SENDABLE[randomBelow(random, sizeof SENDABLE - 1)];
        }
        sms_encode_result_t result;
        ASSERT_EQ(sms_encode_pdus(request, 0, false, result), 0);
        const int parts = static_cast<int>(result.pdus.size());
        std::string text;
        for (int part = 1; part <= parts; part++) {
            const sDecoded decoded =
                decodeSubmitted(result.pdus[static_cast<size_t>(part - 1)], request.number.size());
            ASSERT_EQ(decoded.result, 0);
            ASSERT_EQ(decoded.sms.from, (request.international ? "+" : "") + request.number);
            ASSERT_EQ(decoded.sms.partNumber, parts == 1 ? 0 : part);
            ASSERT_EQ(decoded.sms.numberOfParts, parts == 1 ? 0 : parts);
            text += decoded.text();
        }
        ASSERT_EQ(text, request.message);
    }
}

TEST(SmsRoundTrip, DeliveredTexts_3gpp2) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        const std::string number = randomDigits(random, 1 + randomBelow(random, 32));
        std::string bits = "00" + bitsOf(static_cast<unsigned>(number.size()), 8);
        for (const char digit : number)
            bits += digit == '0' ? "1010" : bitsOf(digit & 0x0Fu, 4);
        std::vector<unsigned> fields(randomBelow(random, 200));
        for (unsigned& field : fields)
            field = 1 + static_cast<unsigned>(randomBelow(random, 127));
        sTest3gpp2 message;
        message.address = hexOfBits(bits);
        message.userData = userData3gpp2(2, 7, fields);
        const sDecoded decoded = decode3gpp2(message);
        ASSERT_EQ(decoded.result, 0) << message.pdu();
        ASSERT_EQ(decoded.text(), std::string(fields.begin(), fields.end())) << message.pdu();
        ASSERT_EQ(decoded.sms.from, number) << message.pdu();
    }
}
