#ifndef TESTS_UNIT_PLATFORM_SMS_PDU_SUPPORT_H
#define TESTS_UNIT_PLATFORM_SMS_PDU_SUPPORT_H

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "platform/include/sms_pdu.h"

// PDUs for the tests of the short message codec, built without code of the codec, with texts of
// ones and zeros instead of shifts.

// Bits as '0' and '1', most significant first.
std::string bitsOf(unsigned value, unsigned width);
// Octets in hexadecimal; the last one is filled with zeros.
std::string hexOfBits(const std::string& bits);
std::string hexOfText(const std::string& octets);
std::string octetsOfHexText(const std::string& hex);
std::string hexOctet(size_t value);

// Septets packed from the low end, after fillBits zero bits.
std::string packedHex(const std::vector<uint8_t>& septets, unsigned fillBits = 0);
// Septets of characters whose code is the same in ASCII and in the default alphabet.
std::vector<uint8_t> plainSeptets(const std::string& text);
// The reverse of packedHex, reading a text of hexadecimal digits.
std::vector<uint8_t> septetsOfHex(const std::string& hex, size_t firstBit, size_t count);

// A DELIVER PDU, field by field in hexadecimal.
struct sTestDeliver {
    std::string serviceCentre = "07917283010010F5";
    std::string firstOctet = "04";
    std::string address = "0B917238880900F1";
    std::string protocol = "00";
    std::string scheme = "00";
    std::string stamp = "99309251619500";
    size_t length = 10;  // TP-UDL
    std::string userData = "E8329BFD4697D9EC37";

    std::string pdu() const;
    // As the modem announces it.
    size_t announced() const;
};

// With a header (its octets without the length, in hexadecimal), followed by septets.
sTestDeliver deliverWithHeader(const std::string& header, const std::vector<uint8_t>& septets);

// A 3GPP2 point-to-point message, element by element in hexadecimal.
struct sTest3gpp2 {
    std::string address = hexOfBits("00" + bitsOf(10, 8) + "00100000001001010101" +
                                    "00010000000100100011");  // DTMF digits, with 10 for 0
    bool hasHeader = false;
    std::string userData;
    std::string stamp = "030622101530";  // empty: no such subparameter

    std::string bearerData() const;
    std::string pdu() const;
};

std::string element(unsigned identifier, const std::string& hex);
std::string transportMessage(const std::string& addressHex, const std::string& bearerDataHex);
// The user data subparameter with fields of the given width.
std::string userData3gpp2(unsigned encoding, unsigned width, const std::vector<unsigned>& fields);

struct sDecoded {
    int result = 0;
    sms_t sms;
    std::string text() const { return std::string(sms.userData.begin(), sms.userData.end()); }
    std::string hex() const { return hexOfText(text()); }
};

sDecoded decode(const std::string& pdu, size_t length);
sDecoded decode(const sTestDeliver& deliver);
sDecoded decode3gpp2(const std::string& pdu, size_t length);
sDecoded decode3gpp2(const sTest3gpp2& message);

// A complete PDU with the expected message.
struct sExample {
    const char* name;
    std::string pdu;
    size_t length;
    std::string from;
    std::string timestamp;
    std::string seconds;
    int reference;
    int partNumber;
    int numberOfParts;
    int dataCoding;
    std::string userData;
};

const std::vector<sExample>& examples3gpp();
const std::vector<sExample>& examples3gpp2();
// Separate, because the judge of the others does not support these tables.
const std::vector<sExample>& examplesInNationalLanguages();

void expectExample(const sExample& example, const sDecoded& decoded);
// Expects that the PDU is refused and the record is empty.
void expectRefused(const sDecoded& decoded);

// Seeded from the environment variable CELLSLOT_SEED, or else at random; the seed is printed.
std::mt19937 seededRandom();
size_t randomBelow(std::mt19937& random, size_t end);
std::string randomDigits(std::mt19937& random, size_t count);

// Digits as semi-octets.
std::string swapped(std::string digits);

#endif
