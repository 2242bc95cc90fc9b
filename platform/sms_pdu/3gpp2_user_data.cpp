#include "platform/sms_pdu/3gpp2_user_data.h"

#include <algorithm>

#include "platform/sms_pdu/alphabet.h"
#include "platform/sms_pdu/bits.h"
#include "platform/sms_pdu/user_data.h"
#include "platform/sms_pdu/user_data_header.h"

namespace sms_pdu {

namespace {

enum eForm { eFORM_OCTETS, eFORM_ASCII, eFORM_LATIN, eFORM_SEPTETS, eFORM_16BIT };

struct sEncoding {
    unsigned code;
    unsigned fieldBits;
    eForm form;
};

constexpr unsigned CODE_GSM_SCHEME = 10;  // the next octet is a 3GPP data coding scheme

// IS-91 (1) has a structure of its own, with fields of six bits, and is refused.
const sEncoding ENCODINGS[] = {
    {0, 8, eFORM_OCTETS}, {2, 7, eFORM_ASCII},   {3, 7, eFORM_ASCII},  // IA5
    {4, 16, eFORM_16BIT}, {5, 8, eFORM_OCTETS},                        // Shift-JIS
    {6, 8, eFORM_OCTETS},                                              // Korean
    {7, 8, eFORM_OCTETS},                                              // Latin and Hebrew
    {8, 8, eFORM_LATIN},  {9, 7, eFORM_SEPTETS},
};

bool findEncoding(unsigned code, sEncoding& encoding) {
    for (const sEncoding& candidate : ENCODINGS) {
        if (candidate.code != code) continue;
        encoding = candidate;
        return true;
    }
    return false;
}

sEncoding encodingOfScheme(uint8_t scheme) {
    const int coding = codingOfScheme(scheme);
    if (coding == SMS_CODING_8BIT) return {CODE_GSM_SCHEME, 8, eFORM_OCTETS};
    if (coding == SMS_CODING_16BIT) return {CODE_GSM_SCHEME, 16, eFORM_16BIT};
    return {CODE_GSM_SCHEME, 7, eFORM_SEPTETS};
}

bool readEncoding(cBitReader& reader, sEncoding& encoding) {
    unsigned code = 0;
    unsigned scheme = 0;
    if (!reader.readBits(5, code)) return false;
    if (code != CODE_GSM_SCHEME) return findEncoding(code, encoding);
    if (!reader.readBits(8, scheme)) return false;
    encoding = encodingOfScheme(static_cast<uint8_t>(scheme));
    return true;
}

// Septets are packed into octets from the low end, so the last of them needs its octet whole.
bool readPayload(cBitReader& reader, const sEncoding& encoding, size_t fields, tOctets& payload) {
    const size_t bits = fields * encoding.fieldBits;
    if (reader.remaining() < bits) return false;
    const bool packed = encoding.form == eFORM_SEPTETS;
    const size_t wholeOctets = (bits + 7) / 8 * 8;
    return reader.readAligned(packed ? std::min(wholeOctets, reader.remaining()) : bits, payload);
}

// NUL is dropped: readers of the text may take it for the end.
void appendUnlessNul(unsigned character, std::u16string& text) {
    if (character != 0) text += static_cast<char16_t>(character);
}

std::u16string asciiText(const tOctets& payload, size_t firstField, size_t fields) {
    std::u16string text;
    cBitReader reader(payload);
    unsigned character = 0;
    if (!reader.skipBits(firstField * 7)) return text;
    while (fields-- > 0 && reader.readBits(7, character))
        appendUnlessNul(character, text);
    return text;
}

std::u16string latinText(const tOctets& octets) {
    std::u16string text;
    for (const uint8_t octet : octets)
        appendUnlessNul(octet, text);
    return text;
}

// Fields of seven bits begin at the first field border after the header, others right after it.
void setPayload(eForm form, const tOctets& payload, size_t fields, size_t headerOctets,
                const sLanguages& languages, sms_t& sms) {
    const size_t headerFields = (headerOctets * 8 + 6) / 7;
    const size_t textFields = fields > headerFields ? fields - headerFields : 0;
    switch (form) {
        case eFORM_OCTETS:
            return setOctets(octetsFrom(payload, headerOctets), sms);
        case eFORM_ASCII:
            return setText(asciiText(payload, headerFields, textFields), sms);
        case eFORM_LATIN:
            return setText(latinText(octetsFrom(payload, headerOctets)), sms);
        case eFORM_SEPTETS:
            return setText(
                textOfSeptets(unpackSeptets(payload, headerFields * 7, textFields), languages),
                sms);
        case eFORM_16BIT:
            return set16BitText(octetsFrom(payload, headerOctets), sms);
    }
}

}  // namespace

bool read3gpp2UserData(const tOctets& subparameter, bool hasHeader, sms_t& sms) {
    cBitReader reader(subparameter);
    sEncoding encoding{};
    unsigned fields = 0;
    tOctets payload;
    if (!readEncoding(reader, encoding) || !reader.readBits(8, fields)) return false;
    if (!readPayload(reader, encoding, fields, payload)) return false;
    const size_t headerOctets = hasHeader ? userDataHeaderOctets(payload) : 0;
    const sLanguages languages = readUserDataHeader(payload, headerOctets, sms);
    setPayload(encoding.form, payload, fields, headerOctets, languages, sms);
    return true;
}

}  // namespace sms_pdu
