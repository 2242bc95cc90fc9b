#include <algorithm>
#include <atomic>
#include <chrono>

#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/address.h"
#include "platform/sms_pdu/alphabet.h"
#include "platform/sms_pdu/bits.h"
#include "platform/sms_pdu/octets.h"
#include "platform/sms_pdu/print.h"

// The SUBMIT transfer PDU, 3GPP TS 23.040 section 9.2.2.2, in the default alphabet and without a
// validity period: that of the service centre applies.

namespace sms_pdu {

namespace {

constexpr size_t MAX_MESSAGE_CHARACTERS = 918;
constexpr size_t MAX_SEPTETS = 160;
constexpr size_t MAX_SEPTETS_OF_PART = 153;

constexpr uint8_t SERVICE_CENTRE_OF_MODEM = 0x00;
constexpr uint8_t SUBMIT = 0x01;
constexpr uint8_t SUBMIT_WITH_HEADER = 0x41;
constexpr uint8_t REFERENCE_BY_MODEM = 0x00;
constexpr uint8_t PROTOCOL_SHORT_MESSAGE = 0x00;
constexpr uint8_t SCHEME_DEFAULT_ALPHABET = 0x00;

constexpr unsigned REFERENCES = 255;  // 1 to 255; some receivers take 0 for "none"

// Two messages in a row never get the same reference. The first one of a run comes from the clock,
// so that parts sent before a restart are not joined with parts sent after it.
uint8_t nextReference() {
    static std::atomic<unsigned> s_count{static_cast<unsigned>(
        std::chrono::system_clock::now().time_since_epoch() / std::chrono::milliseconds(1))};
    return static_cast<uint8_t>(s_count++ % REFERENCES + 1);
}

// Splits the message into parts of at most limit septets. The septets of one character stay
// together.
std::vector<tOctets> septetsOfParts(const std::string& message, size_t limit) {
    std::vector<tOctets> parts(1);
    for (const char character : message) {
        const tOctets septets = septetsOfCharacter(character);
        if (parts.back().size() + septets.size() > limit) parts.emplace_back();
        parts.back().insert(parts.back().end(), septets.begin(), septets.end());
    }
    return parts;
}

// Everything before the length of the user data; empty for a number that cannot be dialled.
tOctets beginningOf(const sms_encode_request_t& request, uint8_t firstOctet) {
    tOctets pdu = {SERVICE_CENTRE_OF_MODEM, firstOctet, REFERENCE_BY_MODEM};
    if (!appendAddress(request.number, request.international, pdu)) return {};
    pdu.push_back(PROTOCOL_SHORT_MESSAGE);
    pdu.push_back(SCHEME_DEFAULT_ALPHABET);
    return pdu;
}

std::string pduOf(const tOctets& beginning, const tOctets& header, const tOctets& septets) {
    const size_t headerSeptets = (header.size() * 8 + 6) / 7;
    tOctets userData = packSeptets(septets, headerSeptets * 7);
    std::copy(header.begin(), header.end(), userData.begin());
    tOctets pdu = beginning;
    pdu.push_back(static_cast<uint8_t>(headerSeptets + septets.size()));
    pdu.insert(pdu.end(), userData.begin(), userData.end());
    return hexOfOctets(pdu);
}

std::vector<std::string> singlePdu(const sms_encode_request_t& request, const tOctets& septets) {
    const tOctets beginning = beginningOf(request, SUBMIT);
    if (beginning.empty()) return {};
    return {pduOf(beginning, {}, septets)};
}

// The header: its length; an element of a concatenated message with an 8-bit reference, its length,
// the reference, the number of parts, the part.
std::vector<std::string> concatenatedPdus(const sms_encode_request_t& request) {
    const tOctets beginning = beginningOf(request, SUBMIT_WITH_HEADER);
    if (beginning.empty()) return {};
    const std::vector<tOctets> parts = septetsOfParts(request.message, MAX_SEPTETS_OF_PART);
    const uint8_t reference = nextReference();
    const uint8_t numberOfParts = static_cast<uint8_t>(parts.size());
    std::vector<std::string> pdus;
    uint8_t partNumber = 0;
    for (const tOctets& septets : parts) {
        partNumber++;
        pdus.push_back(
            pduOf(beginning, {0x05, 0x00, 0x03, reference, numberOfParts, partNumber}, septets));
    }
    return pdus;
}

std::vector<std::string> pdusOf(const sms_encode_request_t& request) {
    if (request.message.size() > MAX_MESSAGE_CHARACTERS) return {};
    const std::vector<tOctets> parts = septetsOfParts(request.message, MAX_SEPTETS);
    return parts.size() == 1 ? singlePdu(request, parts[0]) : concatenatedPdus(request);
}

}  // namespace

}  // namespace sms_pdu

int sms_encode_pdus(const sms_encode_request_t& request, int type, bool debugOutput,
                    sms_encode_result_t& result) {
    result.pdus = type == 0 ? sms_pdu::pdusOf(request) : std::vector<std::string>();
    const bool encoded = !result.pdus.empty();
    if (debugOutput) sms_pdu::printEncoded(request, encoded, result);
    return encoded ? 0 : -1;
}
