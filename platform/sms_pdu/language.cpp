#include "platform/sms_pdu/language.h"

#include <iterator>

namespace sms_pdu {

namespace {

// The tables have sixteen septets per row. The escape is a blank here: that is how it is shown if
// nothing follows.

// 3GPP TS 23.038 annex A.3.1.
const char16_t TURKISH_LOCKING[] =
    u"@£$¥€éùıòÇ\nĞğ\rÅå"
    u"Δ_ΦΓΛΩΠΨΣΘΞ ŞşßÉ"
    u" !\"#¤%&'()*+,-./"
    u"0123456789:;<=>?"
    u"İABCDEFGHIJKLMNO"
    u"PQRSTUVWXYZÄÖÑÜ§"
    u"çabcdefghijklmno"
    u"pqrstuvwxyzäöñüà";
static_assert(std::size(TURKISH_LOCKING) == ALPHABET_SEPTETS + 1, "one character a septet");

// 3GPP TS 23.038 annex A.3.3.
const char16_t PORTUGUESE_LOCKING[] =
    u"@£$¥êéúíóç\nÔô\rÁá"
    u"Δ_ªÇÀ∞^\\€Ó| ÂâÊÉ"
    u" !\"#º%&'()*+,-./"
    u"0123456789:;<=>?"
    u"ÍABCDEFGHIJKLMNO"
    u"PQRSTUVWXYZÃÕÚÜ§"
    u"~abcdefghijklmno"
    u"pqrstuvwxyzãõ`üà";
static_assert(std::size(PORTUGUESE_LOCKING) == ALPHABET_SEPTETS + 1, "one character a septet");

// 3GPP TS 23.038 annex A.2.1.
const sExtension TURKISH_SINGLE[] = {
    {0x0A, u'\f'}, {0x14, u'^'}, {0x1B, u' '}, {0x28, u'{'}, {0x29, u'}'}, {0x2F, u'\\'},
    {0x3C, u'['},  {0x3D, u'~'}, {0x3E, u']'}, {0x40, u'|'}, {0x47, u'Ğ'}, {0x49, u'İ'},
    {0x53, u'Ş'},  {0x63, u'ç'}, {0x65, u'€'}, {0x67, u'ğ'}, {0x69, u'ı'}, {0x73, u'ş'},
};

// 3GPP TS 23.038 annex A.2.2.
const sExtension SPANISH_SINGLE[] = {
    {0x09, u'ç'}, {0x0A, u'\f'}, {0x14, u'^'}, {0x1B, u' '}, {0x28, u'{'},
    {0x29, u'}'}, {0x2F, u'\\'}, {0x3C, u'['}, {0x3D, u'~'}, {0x3E, u']'},
    {0x40, u'|'}, {0x41, u'Á'},  {0x49, u'Í'}, {0x4F, u'Ó'}, {0x55, u'Ú'},
    {0x61, u'á'}, {0x65, u'€'},  {0x69, u'í'}, {0x6F, u'ó'}, {0x75, u'ú'},
};

// 3GPP TS 23.038 annex A.2.3.
const sExtension PORTUGUESE_SINGLE[] = {
    {0x05, u'ê'}, {0x09, u'ç'},  {0x0A, u'\f'}, {0x0B, u'Ô'}, {0x0C, u'ô'}, {0x0E, u'Á'},
    {0x0F, u'á'}, {0x12, u'Φ'},  {0x13, u'Γ'},  {0x14, u'^'}, {0x15, u'Ω'}, {0x16, u'Π'},
    {0x17, u'Ψ'}, {0x18, u'Σ'},  {0x19, u'Θ'},  {0x1B, u' '}, {0x1F, u'Ê'}, {0x28, u'{'},
    {0x29, u'}'}, {0x2F, u'\\'}, {0x3C, u'['},  {0x3D, u'~'}, {0x3E, u']'}, {0x40, u'|'},
    {0x41, u'À'}, {0x49, u'Í'},  {0x4F, u'Ó'},  {0x55, u'Ú'}, {0x5B, u'Ã'}, {0x5C, u'Õ'},
    {0x61, u'Â'}, {0x65, u'€'},  {0x69, u'í'},  {0x6F, u'ó'}, {0x75, u'ú'}, {0x7B, u'ã'},
    {0x7C, u'õ'}, {0x7F, u'â'},
};

struct sLanguageTables {
    uint8_t language;
    const char16_t* locking;
    sExtensionTable single;
};

const sLanguageTables LANGUAGES[] = {
    {LANGUAGE_TURKISH, TURKISH_LOCKING, {TURKISH_SINGLE, std::size(TURKISH_SINGLE)}},
    {LANGUAGE_SPANISH, nullptr, {SPANISH_SINGLE, std::size(SPANISH_SINGLE)}},
    {LANGUAGE_PORTUGUESE, PORTUGUESE_LOCKING, {PORTUGUESE_SINGLE, std::size(PORTUGUESE_SINGLE)}},
};

const sLanguageTables* tablesOf(uint8_t language) {
    for (const sLanguageTables& tables : LANGUAGES) {
        if (tables.language == language) return &tables;
    }
    return nullptr;
}

}  // namespace

const char16_t* lockingShiftTable(uint8_t language) {
    const sLanguageTables* const tables = tablesOf(language);
    return tables == nullptr ? nullptr : tables->locking;
}

const sExtensionTable* singleShiftTable(uint8_t language) {
    const sLanguageTables* const tables = tablesOf(language);
    return tables == nullptr ? nullptr : &tables->single;
}

}  // namespace sms_pdu
