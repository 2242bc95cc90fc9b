#include "recording/pdu_stand_in.h"

#include <cctype>
#include <cstdint>
#include <cstring>

namespace {

constexpr size_t OCTETS_MAX = 512;
constexpr size_t PDU_OCTETS_MIN = 7;

// A part of a PDU; what is taken from its front shortens it.
struct sOctets {
    uint8_t* data = nullptr;
    size_t size = 0;

    bool take(size_t count, sOctets& taken) {
        if (count > size) return false;
        taken = {data, count};
        data += count;
        size -= count;
        return true;
    }
    bool skip(size_t count) {
        sOctets ignored;
        return take(count, ignored);
    }
    bool octet(uint8_t& value) {
        if (size == 0) return false;
        value = *data;
        return skip(1);
    }
    // An identifier, a length and a value, as 3GPP2 messages are made of.
    bool element(uint8_t& identifier, sOctets& value) {
        uint8_t length = 0;
        return octet(identifier) && octet(length) && take(length, value);
    }
};

// count bits from bit `at` on, the highest first.
unsigned bitsAt(const sOctets& octets, size_t at, unsigned count) {
    unsigned value = 0;
    for (size_t bit = at; bit < at + count; ++bit)
        value = value << 1 | (octets.data[bit / 8] >> (7 - bit % 8) & 1u);
    return value;
}

void setBits(sOctets& octets, size_t at, unsigned count, unsigned value) {
    for (unsigned i = 0; i < count; ++i) {
        const size_t bit = at + i;
        const auto mask = static_cast<uint8_t>(1u << (7 - bit % 8));
        if ((value >> (count - 1 - i) & 1u) != 0)
            octets.data[bit / 8] |= mask;
        else
            octets.data[bit / 8] &= static_cast<uint8_t>(~mask);
    }
}

// Septets of the GSM alphabet are packed from the lowest bit on.
void setSeptet(uint8_t* data, size_t index, unsigned value) {
    for (unsigned i = 0; i < 7; ++i) {
        const size_t bit = index * 7 + i;
        const auto mask = static_cast<uint8_t>(1u << bit % 8);
        if ((value >> i & 1u) != 0)
            data[bit / 8] |= mask;
        else
            data[bit / 8] &= static_cast<uint8_t>(~mask);
    }
}

unsigned letter(cStandInSource& source) {
    return 'a' + source.next(26);
}

void replaceSeptets(uint8_t* data, size_t from, size_t to, cStandInSource& source) {
    for (size_t i = from; i < to; ++i)
        setSeptet(data, i, letter(source));
}

void replaceOctets(uint8_t* data, size_t from, size_t to, cStandInSource& source) {
    for (size_t i = from; i < to; ++i)
        data[i] = static_cast<uint8_t>(letter(source));
}

void replaceUnits(uint8_t* data, size_t from, size_t to, cStandInSource& source) {
    for (size_t i = from; i + 1 < to; i += 2) {
        data[i] = 0;
        data[i + 1] = static_cast<uint8_t>(letter(source));
    }
    // Half a character.
    if ((to - from) % 2 != 0) data[to - 1] = 0;
}

enum class eCoding { SEPTETS, OCTETS, UNITS };

// 3GPP TS 23.038 section 4. What is reserved counts as octets: every one of them is replaced.
eCoding codingOf(uint8_t scheme) {
    const unsigned group = scheme >> 4u;
    const unsigned alphabet = scheme >> 2u & 3u;
    if (group < 8) {
        const bool isCompressed = (scheme & 0x20u) != 0;
        if (isCompressed || alphabet == 1 || alphabet == 3) return eCoding::OCTETS;
        return alphabet == 2 ? eCoding::UNITS : eCoding::SEPTETS;
    }
    if (group == 0x0E) return eCoding::UNITS;
    if (group == 0x0F && (scheme & 4u) != 0) return eCoding::OCTETS;
    return group < 0x0C ? eCoding::OCTETS : eCoding::SEPTETS;
}

// Octets of the user data's header with its length; it stays, because it says which part of which
// message this is. A header of impossible length is text.
size_t headerOctets(const sOctets& userData, bool hasHeader) {
    if (!hasHeader || userData.size == 0) return 0;
    const size_t octets = size_t{userData.data[0]} + 1;
    return octets <= userData.size ? octets : 0;
}

size_t septetsOf(size_t octets) {
    return (octets * 8 + 6) / 7;
}

// ---- 3GPP ----------------------------------------------------------------------------------

constexpr size_t SERVICE_CENTRE_MAX = 12;
constexpr uint8_t TYPE_ALPHANUMERIC = 5;

bool replaceAddress(sOctets& pdu, const cStandIns& standIns) {
    uint8_t digits = 0;
    uint8_t type = 0;
    sOctets address;
    if (!pdu.octet(digits) || !pdu.octet(type)) return false;
    if (!pdu.take((size_t{digits} + 1) / 2, address)) return false;
    cStandInSource source = standIns.sourceFor(address.data, address.size);
    if ((type >> 4 & 7) == TYPE_ALPHANUMERIC) {
        replaceSeptets(address.data, 0, digits * 4u / 7, source);
        return true;
    }
    // Two digits in an octet, the lower half first; above 9 are signs and the filler.
    for (size_t i = 0; i < digits; ++i) {
        uint8_t& octet = address.data[i / 2];
        const unsigned shift = i % 2 * 4;
        if ((octet >> shift & 15u) > 9) continue;
        octet = static_cast<uint8_t>((octet & ~(15u << shift)) | source.next(10) << shift);
    }
    return true;
}

bool replaceUserData(sOctets& pdu, eCoding coding, bool hasHeader, const cStandIns& standIns) {
    uint8_t length = 0;  // septets of a text, octets of anything else
    sOctets userData;
    if (!pdu.octet(length)) return false;
    const bool isSeptets = coding == eCoding::SEPTETS;
    if (!pdu.take(isSeptets ? (length * 7u + 7) / 8 : length, userData)) return false;
    const size_t header = headerOctets(userData, hasHeader);
    cStandInSource source = standIns.sourceFor(userData.data, userData.size);
    if (isSeptets)
        replaceSeptets(userData.data, septetsOf(header), length, source);
    else if (coding == eCoding::UNITS)
        replaceUnits(userData.data, header, userData.size, source);
    else
        replaceOctets(userData.data, header, userData.size, source);
    return true;
}

// 3GPP TS 23.040 section 9.2.2.1
bool replaceDeliver(sOctets& pdu, bool hasHeader, const cStandIns& standIns) {
    constexpr size_t TIME_STAMP_OCTETS = 7;
    uint8_t protocol = 0;
    uint8_t scheme = 0;
    return replaceAddress(pdu, standIns) && pdu.octet(protocol) && pdu.octet(scheme) &&
           pdu.skip(TIME_STAMP_OCTETS) &&
           replaceUserData(pdu, codingOf(scheme), hasHeader, standIns);
}

// Section 9.2.2.2. The form of the validity period is in bits 3 and 4 of the first octet.
bool replaceSubmit(sOctets& pdu, uint8_t first, const cStandIns& standIns) {
    constexpr size_t PERIOD_OCTETS[] = {0, 7, 1, 7};
    uint8_t protocol = 0;
    uint8_t scheme = 0;
    return pdu.skip(1) && replaceAddress(pdu, standIns) && pdu.octet(protocol) &&
           pdu.octet(scheme) && pdu.skip(PERIOD_OCTETS[first >> 3 & 3]) &&
           replaceUserData(pdu, codingOf(scheme), (first & 0x40) != 0, standIns);
}

// Section 9.2.2.3: reference, address, two times, status.
bool replaceReport(sOctets& pdu, const cStandIns& standIns) {
    constexpr size_t AFTER_ADDRESS = 7 + 7 + 1;
    return pdu.skip(1) && replaceAddress(pdu, standIns) && pdu.skip(AFTER_ADDRESS);
}

bool replaceTransferPdu(sOctets pdu, const cStandIns& standIns) {
    uint8_t first = 0;
    if (!pdu.octet(first)) return false;
    switch (first & 3) {
        case 0:
            if (!replaceDeliver(pdu, (first & 0x40) != 0, standIns)) return false;
            break;
        case 1:
            if (!replaceSubmit(pdu, first, standIns)) return false;
            break;
        case 2:
            if (!replaceReport(pdu, standIns)) return false;
            break;
        default:
            return false;
    }
    // What follows the message is not part of it, and nobody knows what it is.
    memset(pdu.data, 0xFF, pdu.size);
    return true;
}

bool replaceAfterServiceCentre(sOctets pdu, const cStandIns& standIns) {
    uint8_t length = 0;
    if (!pdu.octet(length) || length > SERVICE_CENTRE_MAX || !pdu.skip(length)) return false;
    return replaceTransferPdu(pdu, standIns);
}

// ---- 3GPP2 ----------------------------------------------------------------------------------

constexpr uint8_t POINT_TO_POINT = 0;
constexpr uint8_t ORIGINATING_ADDRESS = 2;
constexpr uint8_t DESTINATION_ADDRESS = 4;
constexpr uint8_t BEARER_DATA = 8;
constexpr uint8_t MESSAGE_IDENTIFIER = 0;
constexpr uint8_t USER_DATA = 1;
constexpr uint8_t CALL_BACK_NUMBER = 14;

// Digits of four bits are 1 to 9 and 10 for zero, characters of eight bits ASCII.
bool replaceDigits(sOctets& octets, size_t at, bool eightBit, const cStandIns& standIns) {
    if (octets.size * 8 < at + 8) return false;
    const unsigned fields = bitsAt(octets, at, 8);
    const unsigned width = eightBit ? 8 : 4;
    at += 8;
    if (octets.size * 8 < at + size_t{fields} * width) return false;
    cStandInSource source = standIns.sourceFor(octets.data, octets.size);
    for (unsigned i = 0; i < fields; ++i, at += width) {
        const unsigned value = bitsAt(octets, at, width);
        if (!eightBit && value >= 1 && value <= 10) setBits(octets, at, width, 1 + source.next(10));
        if (eightBit && value > 0x20 && value != '+')
            setBits(octets, at, width,
                    isdigit(static_cast<int>(value)) != 0 ? '0' + source.next(10) : letter(source));
    }
    return true;
}

// Digit mode, number mode, then type (3 bits) and plan (4) of a number in characters.
bool replace3gpp2Address(sOctets octets, const cStandIns& standIns) {
    if (octets.size == 0) return false;
    const bool eightBit = bitsAt(octets, 0, 1) != 0;
    const bool otherNetwork = bitsAt(octets, 1, 1) != 0;
    return replaceDigits(octets, 2 + (eightBit ? otherNetwork ? 3 : 7 : 0), eightBit, standIns);
}

bool replaceCallBack(sOctets octets, const cStandIns& standIns) {
    if (octets.size == 0) return false;
    const bool eightBit = bitsAt(octets, 0, 1) != 0;
    return replaceDigits(octets, eightBit ? 8 : 1, eightBit, standIns);
}

struct sFieldForm {
    unsigned bits;
    eCoding coding;
    bool isPackedFromLowest;
};

// The codes of C.R1001 section 9.1, and the octet of a 3GPP scheme after code 10.
sFieldForm formOf(unsigned code, uint8_t scheme) {
    if (code == 10) {
        const eCoding coding = codingOf(scheme);
        if (coding == eCoding::UNITS) return {16, coding, false};
        if (coding == eCoding::OCTETS) return {8, coding, false};
        return {7, coding, true};
    }
    if (code == 2 || code == 3) return {7, eCoding::SEPTETS, false};
    if (code == 4) return {16, eCoding::UNITS, false};
    if (code == 9) return {7, eCoding::SEPTETS, true};
    return {8, eCoding::OCTETS, false};
}

void replaceFields(sOctets& payload, const sFieldForm& form, size_t fields, size_t header,
                   cStandInSource& source) {
    if (form.coding == eCoding::OCTETS)
        return replaceOctets(payload.data, header, payload.size, source);
    if (form.coding == eCoding::UNITS)
        return replaceUnits(payload.data, header, payload.size, source);
    if (form.isPackedFromLowest)
        return replaceSeptets(payload.data, septetsOf(header), fields, source);
    for (size_t i = septetsOf(header); i < fields; ++i)
        setBits(payload, i * 7, 7, letter(source));
}

// The fields begin in the middle of an octet, so they are moved to whole octets and back.
bool replace3gpp2UserData(sOctets octets, bool hasHeader, const cStandIns& standIns) {
    if (octets.size < 2) return false;
    const unsigned code = bitsAt(octets, 0, 5);
    const bool hasScheme = code == 10 || code == 1;
    size_t at = hasScheme ? 13 : 5;
    if (octets.size * 8 < at + 8) return false;
    const auto scheme = static_cast<uint8_t>(hasScheme ? bitsAt(octets, 5, 8) : 0);
    const sFieldForm form = formOf(code, scheme);
    const size_t fields = bitsAt(octets, at, 8);
    at += 8;
    // The last of packed septets may need bits up to the end of its octet.
    const size_t bits = octets.size * 8 - at;
    if (bits < fields * form.bits) return false;
    uint8_t buffer[OCTETS_MAX] = {};
    sOctets payload = {buffer, (fields * form.bits + 7) / 8};
    const size_t moved = payload.size * 8 < bits ? payload.size * 8 : bits;
    for (size_t bit = 0; bit < moved; ++bit)
        setBits(payload, bit, 1, bitsAt(octets, at + bit, 1));
    const size_t header = headerOctets(payload, hasHeader);
    cStandInSource source = standIns.sourceFor(payload.data, payload.size);
    replaceFields(payload, form, fields, header, source);
    for (size_t bit = 0; bit < moved; ++bit)
        setBits(octets, at + bit, 1, bitsAt(payload, bit, 1));
    return true;
}

bool findHeaderFlag(sOctets bearerData, bool& hasHeader) {
    uint8_t identifier = 0;
    sOctets value;
    hasHeader = false;
    while (bearerData.size > 0) {
        if (!bearerData.element(identifier, value)) return false;
        if (identifier == MESSAGE_IDENTIFIER && value.size >= 3)
            hasHeader = (value.data[2] & 8) != 0;
    }
    return true;
}

bool replaceBearerData(sOctets bearerData, const cStandIns& standIns) {
    bool hasHeader = false;
    if (!findHeaderFlag(bearerData, hasHeader)) return false;
    uint8_t identifier = 0;
    sOctets value;
    while (bearerData.size > 0 && bearerData.element(identifier, value)) {
        if (identifier == USER_DATA && !replace3gpp2UserData(value, hasHeader, standIns))
            memset(value.data, 0xFF, value.size);
        if (identifier == CALL_BACK_NUMBER && !replaceCallBack(value, standIns))
            memset(value.data, 0xFF, value.size);
    }
    return true;
}

// Whether the octets are elements from the first to the last, a message's content among them.
bool is3gpp2(sOctets pdu) {
    uint8_t identifier = 0;
    sOctets value;
    bool hasContent = false;
    if (!pdu.octet(identifier) || identifier != POINT_TO_POINT) return false;
    while (pdu.size > 0) {
        if (!pdu.element(identifier, value)) return false;
        hasContent |= identifier == BEARER_DATA;
    }
    return hasContent;
}

void replace3gpp2(sOctets pdu, const cStandIns& standIns) {
    uint8_t identifier = 0;
    sOctets value;
    pdu.skip(1);
    while (pdu.size > 0 && pdu.element(identifier, value)) {
        const bool isAddress =
            identifier == ORIGINATING_ADDRESS || identifier == DESTINATION_ADDRESS;
        if (isAddress && !replace3gpp2Address(value, standIns))
            memset(value.data, 0xFF, value.size);
        if (identifier == BEARER_DATA && !replaceBearerData(value, standIns))
            memset(value.data, 0xFF, value.size);
    }
}

// ---------------------------------------------------------------------------------------------------

unsigned valueOf(char digit) {
    const auto byte = static_cast<unsigned char>(digit);
    return isdigit(byte) != 0 ? byte - '0' : static_cast<unsigned>(toupper(byte)) - 'A' + 10;
}

void readDigits(const char* digits, sOctets& octets) {
    for (size_t i = 0; i < octets.size; ++i)
        octets.data[i] =
            static_cast<uint8_t>(valueOf(digits[2 * i]) << 4 | valueOf(digits[2 * i + 1]));
}

void writeDigits(const sOctets& octets, char* digits) {
    static const char HEX[] = "0123456789ABCDEF";
    for (size_t i = 0; i < octets.size; ++i) {
        digits[2 * i] = HEX[octets.data[i] >> 4];
        digits[2 * i + 1] = HEX[octets.data[i] & 15];
    }
}

}  // namespace

bool isPduLine(const char* text, size_t size) {
    if (size % 2 != 0 || size < PDU_OCTETS_MIN * 2) return false;
    for (size_t i = 0; i < size; ++i)
        if (isxdigit(static_cast<unsigned char>(text[i])) == 0) return false;
    return true;
}

void replacePdu(const cStandIns& standIns, char* digits, size_t size) {
    uint8_t buffer[OCTETS_MAX] = {};
    sOctets pdu = {buffer, size / 2};
    if (size > OCTETS_MAX * 2) {
        memset(digits, 'F', size);
        return;
    }
    readDigits(digits, pdu);
    if (is3gpp2(pdu)) {
        replace3gpp2(pdu, standIns);
        return writeDigits(pdu, digits);
    }
    if (replaceAfterServiceCentre(pdu, standIns)) return writeDigits(pdu, digits);
    // The first attempt may have changed octets before it failed.
    readDigits(digits, pdu);
    if (replaceTransferPdu(pdu, standIns)) return writeDigits(pdu, digits);
    memset(digits, 'F', size);
}
