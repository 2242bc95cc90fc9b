#include "platform/sms_pdu/alphabet.h"

#include <algorithm>
#include <iterator>

namespace sms_pdu {

namespace {

constexpr uint8_t ESCAPE = 0x1B;

// Sixteen septets per row. The escape is a blank here: that is how it is shown if nothing follows.
const char16_t DEFAULT_ALPHABET[] =
    u"@£$¥èéùìòÇ\nØø\rÅå"
    u"Δ_ΦΓΛΩΠΨΣΘΞ ÆæßÉ"
    u" !\"#¤%&'()*+,-./"
    u"0123456789:;<=>?"
    u"¡ABCDEFGHIJKLMNO"
    u"PQRSTUVWXYZÄÖÑÜ§"
    u"¿abcdefghijklmno"
    u"pqrstuvwxyzäöñüà";
static_assert(std::size(DEFAULT_ALPHABET) == ALPHABET_SEPTETS + 1, "one character a septet");

const sExtension EXTENSIONS[] = {
    {0x0A, u'\f'},                // page break
    {0x14, u'^'},  {0x1B, u' '},  // reserved for another table; a blank until one is defined
    {0x28, u'{'},  {0x29, u'}'}, {0x2F, u'\\'}, {0x3C, u'['},
    {0x3D, u'~'},  {0x3E, u']'}, {0x40, u'|'},  {0x65, u'€'},
};

const sExtensionTable EXTENSION_TABLE = {EXTENSIONS, std::size(EXTENSIONS)};

// If the extension table has no entry, the receiver takes the character of the main table.
char16_t extendedCharacter(uint8_t septet, const char16_t* alphabet,
                           const sExtensionTable& extensions) {
    const sExtension* const end = extensions.entries + extensions.count;
    const sExtension* const found =
        std::find_if(extensions.entries, end,
                     [septet](const sExtension& extension) { return extension.septet == septet; });
    return found != end ? found->character : alphabet[septet];
}

}  // namespace

std::u16string textOfSeptets(const tOctets& septets, const sLanguages& languages) {
    const char16_t* const locking = lockingShiftTable(languages.locking);
    const char16_t* const alphabet = locking != nullptr ? locking : DEFAULT_ALPHABET;
    const sExtensionTable* const single = singleShiftTable(languages.single);
    const sExtensionTable& extensions = single != nullptr ? *single : EXTENSION_TABLE;
    std::u16string text;
    for (size_t i = 0; i < septets.size(); i++) {
        const bool extended = septets[i] == ESCAPE && i + 1 < septets.size();
        if (extended) i++;
        const uint8_t septet = septets[i] & 0x7F;
        text += extended ? extendedCharacter(septet, alphabet, extensions) : alphabet[septet];
    }
    return text;
}

tOctets septetsOfCharacter(char character) {
    const char16_t wanted = static_cast<unsigned char>(character);
    const bool ascii = wanted < 0x80;
    // The escape is a blank in the main table but must not be sent as one; the real blank comes
    // after it.
    const char16_t* const end = DEFAULT_ALPHABET + ALPHABET_SEPTETS;
    const char16_t* found =
        wanted == u' ' ? DEFAULT_ALPHABET + 0x20 : std::find(DEFAULT_ALPHABET, end, wanted);
    if (ascii && found != end) return {static_cast<uint8_t>(found - DEFAULT_ALPHABET)};
    for (const sExtension& extension : EXTENSIONS) {
        if (ascii && extension.character == wanted) return {ESCAPE, extension.septet};
    }
    return {'?'};
}

std::string utf8OfText(const std::u16string& text) {
    std::string utf8;
    for (const char16_t character : text) {
        if (character < 0x80) {
            utf8 += static_cast<char>(character);
            continue;
        }
        if (character < 0x800) {
            utf8 += static_cast<char>(0xC0 | character >> 6);
        } else {
            utf8 += static_cast<char>(0xE0 | character >> 12);
            utf8 += static_cast<char>(0x80 | (character >> 6 & 0x3F));
        }
        utf8 += static_cast<char>(0x80 | (character & 0x3F));
    }
    return utf8;
}

}  // namespace sms_pdu
