#ifndef PLATFORM_SMS_PDU_LANGUAGE_H
#define PLATFORM_SMS_PDU_LANGUAGE_H

#include <cstddef>
#include <cstdint>

// The supported national language tables of 3GPP TS 23.038 annex A.

namespace sms_pdu {

constexpr size_t ALPHABET_SEPTETS = 128;

// A character that is written with an escape before it.
struct sExtension {
    uint8_t septet;
    char16_t character;
};

// An extension table with the number of its entries.
struct sExtensionTable {
    const sExtension* entries;
    size_t count;
};

// National language identifiers, TS 23.038 section 6.2.1.2.4. The others have no table here.
constexpr uint8_t LANGUAGE_NONE = 0;
constexpr uint8_t LANGUAGE_TURKISH = 1;
constexpr uint8_t LANGUAGE_SPANISH = 2;
constexpr uint8_t LANGUAGE_PORTUGUESE = 3;

// The languages that a message names for its text.
struct sLanguages {
    uint8_t locking = LANGUAGE_NONE;  // replaces the default alphabet
    uint8_t single = LANGUAGE_NONE;   // replaces the default extension table
};

// The locking shift table, one character per septet; nullptr for a language without one.
const char16_t* lockingShiftTable(uint8_t language);
// The single shift table; nullptr for a language without one.
const sExtensionTable* singleShiftTable(uint8_t language);

}  // namespace sms_pdu

#endif
