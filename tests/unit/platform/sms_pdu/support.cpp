#include "tests/unit/platform/sms_pdu/support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "fuzz/decoded_message_check.h"

std::string bitsOf(unsigned value, unsigned width) {
    std::string bits;
    for (; width > 0; width--, value /= 2)
        bits.insert(0, 1, value % 2 != 0 ? '1' : '0');
    return bits;
}

std::string hexOctet(size_t value) {
    char hex[8];
    snprintf(hex, sizeof hex, "%02X", static_cast<unsigned>(value & 0xFF));
    return hex;
}

std::string hexOfBits(const std::string& bits) {
    std::string hex;
    for (size_t i = 0; i < bits.size(); i += 8) {
        std::string octet = bits.substr(i, 8);
        octet.resize(8, '0');
        hex += hexOctet(std::stoul(octet, nullptr, 2));
    }
    return hex;
}

std::string hexOfText(const std::string& octets) {
    std::string hex;
    for (const unsigned char octet : octets)
        hex += hexOctet(octet);
    return hex;
}

std::string octetsOfHexText(const std::string& hex) {
    std::string octets;
    for (size_t i = 0; i < hex.size(); i += 2) {
        octets += static_cast<char>(std::stoul(hex.substr(i, 2), nullptr, 16));
    }
    return octets;
}

// Written as one number from right to left: the last septet first, the fill bits at the end.
std::string packedHex(const std::vector<uint8_t>& septets, unsigned fillBits) {
    std::string bits;
    for (auto septet = septets.rbegin(); septet != septets.rend(); ++septet) {
        bits += bitsOf(*septet, 7);
    }
    bits += std::string(fillBits, '0');
    while (bits.size() % 8 != 0)
        bits.insert(0, 1, '0');
    std::string hex;
    for (size_t end = bits.size(); end > 0; end -= 8)
        hex += hexOfBits(bits.substr(end - 8, 8));
    return hex;
}

std::vector<uint8_t> plainSeptets(const std::string& text) {
    return std::vector<uint8_t>(text.begin(), text.end());
}

std::vector<uint8_t> septetsOfHex(const std::string& hex, size_t firstBit, size_t count) {
    std::string bits;
    for (const unsigned char octet : octetsOfHexText(hex))
        bits.insert(0, bitsOf(octet, 8));
    std::vector<uint8_t> septets;
    for (size_t end = bits.size() - firstBit; septets.size() < count; end -= 7) {
        septets.push_back(static_cast<uint8_t>(std::stoul(bits.substr(end - 7, 7), nullptr, 2)));
    }
    return septets;
}

std::string sTestDeliver::pdu() const {
    return serviceCentre + firstOctet + address + protocol + scheme + stamp + hexOctet(length) +
           userData;
}

size_t sTestDeliver::announced() const {
    return (pdu().size() - serviceCentre.size()) / 2;
}

sTestDeliver deliverWithHeader(const std::string& header, const std::vector<uint8_t>& septets) {
    const std::string whole = hexOctet(header.size() / 2) + header;
    const size_t headerBits = whole.size() / 2 * 8;
    const unsigned fillBits = static_cast<unsigned>((7 - headerBits % 7) % 7);
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.length = (headerBits + fillBits) / 7 + septets.size();
    deliver.userData = whole + packedHex(septets, fillBits);
    return deliver;
}

std::string element(unsigned identifier, const std::string& hex) {
    return hexOctet(identifier) + hexOctet(hex.size() / 2) + hex;
}

std::string transportMessage(const std::string& addressHex, const std::string& bearerDataHex) {
    return "00" + element(0x00, "1002") + element(0x02, addressHex) + element(0x06, "FC") +
           element(0x08, bearerDataHex);
}

std::string sTest3gpp2::bearerData() const {
    std::string hex = element(0x00, hasHeader ? "1ABCD8" : "1ABCD0");
    if (!userData.empty()) hex += element(0x01, userData);
    if (!stamp.empty()) hex += element(0x03, stamp);
    return hex + element(0x0D, "01");  // a language
}

std::string sTest3gpp2::pdu() const {
    return transportMessage(address, bearerData());
}

std::string userData3gpp2(unsigned encoding, unsigned width, const std::vector<unsigned>& fields) {
    std::string bits = bitsOf(encoding, 5) + bitsOf(static_cast<unsigned>(fields.size()), 8);
    for (const unsigned field : fields)
        bits += bitsOf(field, width);
    return hexOfBits(bits);
}

namespace {

// A record that contained a message before.
sDecoded usedRecord() {
    sDecoded decoded;
    decoded.sms.from = "left over";
    decoded.sms.timestamp = "left over";
    decoded.sms.reference = decoded.sms.partNumber = decoded.sms.numberOfParts = 7;
    decoded.sms.userData = {'x'};
    decoded.sms.userDataLength = 7;
    return decoded;
}

}  // namespace

sDecoded decode(const std::string& pdu, size_t length) {
    sDecoded decoded = usedRecord();
    decoded.result = sms_decode_pdu(pdu, length, decoded.sms, false);
    return decoded;
}

sDecoded decode(const sTestDeliver& deliver) {
    return decode(deliver.pdu(), deliver.announced());
}

sDecoded decode3gpp2(const std::string& pdu, size_t length) {
    sDecoded decoded = usedRecord();
    decoded.result = sms_decode_3gpp2_pdu(pdu, length, decoded.sms, false);
    return decoded;
}

sDecoded decode3gpp2(const sTest3gpp2& message) {
    const std::string pdu = message.pdu();
    return decode3gpp2(pdu, pdu.size() / 2);
}

void expectExample(const sExample& example, const sDecoded& decoded) {
    SCOPED_TRACE(example.name);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.sms.from, example.from);
    EXPECT_EQ(decoded.sms.timestamp, example.timestamp);
    EXPECT_EQ(decoded.sms.timestampUnformatted, example.seconds);
    EXPECT_EQ(decoded.sms.reference, example.reference);
    EXPECT_EQ(decoded.sms.partNumber, example.partNumber);
    EXPECT_EQ(decoded.sms.numberOfParts, example.numberOfParts);
    EXPECT_EQ(decoded.sms.dataCoding, example.dataCoding);
    EXPECT_EQ(decoded.text(), example.userData);
    EXPECT_EQ(decoded.sms.userDataLength, example.userData.size());
}

void expectRefused(const sDecoded& decoded) {
    EXPECT_EQ(decoded.result, -1);
    EXPECT_TRUE(isReset(decoded.sms));
}

std::mt19937 seededRandom() {
    const char* wanted = getenv("CELLSLOT_SEED");
    const unsigned long seed = wanted != nullptr
                                   ? strtoul(wanted, nullptr, 10)
                                   : static_cast<unsigned long>(std::random_device()());
    printf("CELLSLOT_SEED=%lu\n", seed);
    return std::mt19937(static_cast<std::mt19937::result_type>(seed));
}

size_t randomBelow(std::mt19937& random, size_t end) {
    return std::uniform_int_distribution<size_t>(0, end - 1)(random);
}

std::string randomDigits(std::mt19937& random, size_t count) {
    std::string digits;
    while (digits.size() < count)
        digits += static_cast<char>('0' + randomBelow(random, 10));
    return digits;
}

std::string swapped(std::string digits) {
    if (digits.size() % 2 != 0) digits += 'F';
    for (size_t i = 0; i < digits.size(); i += 2)
        std::swap(digits[i], digits[i + 1]);
    return digits;
}
