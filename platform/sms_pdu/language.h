#ifndef PLATFORM_SMS_PDU_LANGUAGE_H
#define PLATFORM_SMS_PDU_LANGUAGE_H

#include <cstddef>
#include <cstdint>

// The national language tables of 3GPP TS 23.038 annex A that are read.

namespace sms_pdu {

constexpr size_t ALPHABET_SEPTETS = 128;

// A character that needs an escape before it.
struct sExtension {
    uint8_t septet;
    char16_t character;
};

// An extension table, as many entries as it has.
struct sExtensionTable {
    const sExtension* entries;
    size_t count;
};

// National language identifiers, TS 23.038 section 6.2.1.2.4. Others have no table here.
constexpr uint8_t LANGUAGE_NONE = 0;
constexpr uint8_t LANGUAGE_TURKISH = 1;
constexpr uint8_t LANGUAGE_SPANISH = 2;
constexpr uint8_t LANGUAGE_PORTUGUESE = 3;

// What a message says its text is written in.
struct sLanguages {
    uint8_t locking = LANGUAGE_NONE;  // in the place of the default alphabet
    uint8_t single = LANGUAGE_NONE;   // in the place of the default extension table
};

// The locking shift table, one character a septet; nullptr for a language without one.
const char16_t* lockingShiftTable(uint8_t language);
// The single shift table; nullptr for a language without one.
const sExtensionTable* singleShiftTable(uint8_t language);

}  // namespace sms_pdu

#endif
