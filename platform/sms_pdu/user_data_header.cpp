#include "platform/sms_pdu/user_data_header.h"

namespace sms_pdu {

namespace {

constexpr uint8_t ELEMENT_CONCATENATED_8BIT = 0x00;
constexpr uint8_t ELEMENT_CONCATENATED_16BIT = 0x08;
constexpr uint8_t ELEMENT_SINGLE_SHIFT = 0x24;
constexpr uint8_t ELEMENT_LOCKING_SHIFT = 0x25;
// For readers of the message 0 means "none". No reference of 16 bits has this value.
constexpr int REFERENCE_ZERO = 65536;

struct sConcatenation {
    int reference = 0;
    int partNumber = 0;
    int numberOfParts = 0;
};

struct sHeaderElements {
    sConcatenation concatenation;
    sLanguages languages;
};

void useConcatenation(const tOctets& data, bool wide, sConcatenation& concatenation) {
    if (data.size() != (wide ? 4 : 3)) return;
    const int reference = wide ? data[0] << 8 | data[1] : data[0];
    const int numberOfParts = data[data.size() - 2];
    const int partNumber = data[data.size() - 1];
    if (partNumber == 0 || partNumber > numberOfParts) return;
    concatenation = {reference == 0 ? REFERENCE_ZERO : reference, partNumber, numberOfParts};
}

void useLanguage(const tOctets& data, uint8_t& language) {
    if (data.size() == 1) language = data[0];
}

// An element of another kind, or with invalid content, changes nothing.
void useElement(uint8_t identifier, const tOctets& data, sHeaderElements& elements) {
    switch (identifier) {
        case ELEMENT_CONCATENATED_8BIT:
            return useConcatenation(data, false, elements.concatenation);
        case ELEMENT_CONCATENATED_16BIT:
            return useConcatenation(data, true, elements.concatenation);
        case ELEMENT_SINGLE_SHIFT:
            return useLanguage(data, elements.languages.single);
        case ELEMENT_LOCKING_SHIFT:
            return useLanguage(data, elements.languages.locking);
        default:
            return;
    }
}

}  // namespace

size_t userDataHeaderOctets(const tOctets& userData) {
    if (userData.empty()) return 0;
    const size_t octets = userData[0] + size_t{1};
    return octets <= userData.size() ? octets : 0;
}

sLanguages readUserDataHeader(const tOctets& userData, size_t headerOctets, sms_t& sms) {
    const tOctets header(userData.begin(),
                         userData.begin() + static_cast<std::ptrdiff_t>(headerOctets));
    cOctetReader reader(header);
    uint8_t headerLength = 0;
    uint8_t identifier = 0;
    tOctets data;
    sHeaderElements elements;
    reader.readOctet(headerLength);
    while (reader.remaining() > 0) {
        if (!reader.readElement(identifier, data)) return {};
        useElement(identifier, data, elements);
    }
    const sConcatenation& concatenation = elements.concatenation;
    if (concatenation.numberOfParts < 2) return elements.languages;
    sms.reference = concatenation.reference;
    sms.partNumber = concatenation.partNumber;
    sms.numberOfParts = concatenation.numberOfParts;
    return elements.languages;
}

}  // namespace sms_pdu
