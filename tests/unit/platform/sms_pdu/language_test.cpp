#include <gtest/gtest.h>

#include "tests/unit/platform/sms_pdu/support.h"

// National language tables, 3GPP TS 23.038 annex A. The expected tables were written again from the
// standard, as differences from the default tables.

namespace {

constexpr uint8_t ESCAPE = 0x1B;

const char* const TURKISH_SINGLE = "240101";
const char* const SPANISH_SINGLE = "240102";
const char* const PORTUGUESE_SINGLE = "240103";
const char* const TURKISH_LOCKING = "250101";
const char* const SPANISH_LOCKING = "250102";
const char* const PORTUGUESE_LOCKING = "250103";

struct sDifference {
    uint8_t septet;
    const char* utf8;
};

using tDifferences = std::vector<sDifference>;

std::string read(const std::string& header, const std::vector<uint8_t>& septets) {
    const sDecoded decoded = decode(deliverWithHeader(header, septets));
    EXPECT_EQ(decoded.result, 0) << header;
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_TEXT) << header;
    return decoded.text();
}

// A header without an element means the default tables.
std::string expected(uint8_t septet, bool extended, const tDifferences& differences) {
    for (const sDifference& difference : differences)
        if (difference.septet == septet) return difference.utf8;
    return extended ? read("", {ESCAPE, septet}) : read("", {septet});
}

void expectTable(const std::string& header, bool extended, const tDifferences& differences) {
    for (unsigned code = 0; code < 128; code++) {
        const auto septet = static_cast<uint8_t>(code);
        if (septet == ESCAPE) continue;
        std::vector<uint8_t> septets = {'<'};
        if (extended) septets.push_back(ESCAPE);
        septets.push_back(septet);
        septets.push_back('>');
        EXPECT_EQ(read(header, septets), "<" + expected(septet, extended, differences) + ">")
            << header << ", 0x" << hexOctet(code);
    }
}

}  // namespace

TEST(SmsLanguage, Examples_GiveTheirFields) {
    for (const sExample& example : examplesInNationalLanguages())
        expectExample(example, decode(example.pdu, example.length));
}

TEST(SmsLanguage, SingleShift_ReplacesTheExtensionTable) {
    expectTable(TURKISH_SINGLE, true,
                {{0x47, "Ğ"},
                 {0x49, "İ"},
                 {0x53, "Ş"},
                 {0x63, "ç"},
                 {0x67, "ğ"},
                 {0x69, "ı"},
                 {0x73, "ş"}});
    expectTable(SPANISH_SINGLE, true,
                {{0x09, "ç"},
                 {0x41, "Á"},
                 {0x49, "Í"},
                 {0x4F, "Ó"},
                 {0x55, "Ú"},
                 {0x61, "á"},
                 {0x69, "í"},
                 {0x6F, "ó"},
                 {0x75, "ú"}});
    expectTable(
        PORTUGUESE_SINGLE, true,
        {{0x05, "ê"}, {0x09, "ç"}, {0x0B, "Ô"}, {0x0C, "ô"}, {0x0E, "Á"}, {0x0F, "á"}, {0x12, "Φ"},
         {0x13, "Γ"}, {0x15, "Ω"}, {0x16, "Π"}, {0x17, "Ψ"}, {0x18, "Σ"}, {0x19, "Θ"}, {0x1F, "Ê"},
         {0x41, "À"}, {0x49, "Í"}, {0x4F, "Ó"}, {0x55, "Ú"}, {0x5B, "Ã"}, {0x5C, "Õ"}, {0x61, "Â"},
         {0x69, "í"}, {0x6F, "ó"}, {0x75, "ú"}, {0x7B, "ã"}, {0x7C, "õ"}, {0x7F, "â"}});
}

TEST(SmsLanguage, LockingShift_ReplacesTheMainTable) {
    expectTable(TURKISH_LOCKING, false,
                {{0x04, "€"},
                 {0x07, "ı"},
                 {0x0B, "Ğ"},
                 {0x0C, "ğ"},
                 {0x1C, "Ş"},
                 {0x1D, "ş"},
                 {0x40, "İ"},
                 {0x60, "ç"}});
    expectTable(PORTUGUESE_LOCKING, false,
                {{0x04, "ê"}, {0x06, "ú"}, {0x07, "í"},  {0x08, "ó"}, {0x09, "ç"}, {0x0B, "Ô"},
                 {0x0C, "ô"}, {0x0E, "Á"}, {0x0F, "á"},  {0x12, "ª"}, {0x13, "Ç"}, {0x14, "À"},
                 {0x15, "∞"}, {0x16, "^"}, {0x17, "\\"}, {0x18, "€"}, {0x19, "Ó"}, {0x1A, "|"},
                 {0x1C, "Â"}, {0x1D, "â"}, {0x1E, "Ê"},  {0x24, "º"}, {0x40, "Í"}, {0x5B, "Ã"},
                 {0x5C, "Õ"}, {0x5D, "Ú"}, {0x60, "~"},  {0x7B, "ã"}, {0x7C, "õ"}, {0x7D, "`"}});
}

TEST(SmsLanguage, EachShift_KeepsTheOtherTable) {
    for (const char* header : {TURKISH_SINGLE, SPANISH_SINGLE, PORTUGUESE_SINGLE})
        expectTable(header, false, {});
    EXPECT_EQ(read(TURKISH_LOCKING, {ESCAPE, 0x65, ESCAPE, 0x3C, ESCAPE, 0x69}), "€[i");
    EXPECT_EQ(read(PORTUGUESE_LOCKING, {ESCAPE, 0x65, ESCAPE, 0x3C, ESCAPE, 0x40}), "€[|");
}

TEST(SmsLanguage, EscapeWithoutAMeaning_IsTheCharacterOfTheLockingTable) {
    EXPECT_EQ(read(std::string(TURKISH_LOCKING) + TURKISH_SINGLE, {ESCAPE, 0x0C}), "ğ");
    EXPECT_EQ(read(std::string(PORTUGUESE_LOCKING) + SPANISH_SINGLE, {ESCAPE, 0x15}), "∞");
    EXPECT_EQ(read(TURKISH_LOCKING, {'a', ESCAPE, ESCAPE, 'b', ESCAPE}), "a b ")
        << "a blank, as in the default tables";
}

TEST(SmsLanguage, BothShifts_MayBeOfDifferentLanguages) {
    EXPECT_EQ(read(std::string(TURKISH_SINGLE) + PORTUGUESE_LOCKING, {0x7B, ESCAPE, 0x73}), "ãş");
    EXPECT_EQ(read(std::string(PORTUGUESE_LOCKING) + TURKISH_SINGLE, {0x7B, ESCAPE, 0x73}), "ãş");
}

TEST(SmsLanguage, LanguageWithoutATable_IsReadAsTheDefault) {
    // Spanish has no locking shift; 0 is reserved; 4 is Bengali.
    expectTable(SPANISH_LOCKING, false, {});
    for (const char* language : {"00", "04", "0D", "0E", "FF"}) {
        expectTable(std::string("2501") + language, false, {});
        expectTable(std::string("2401") + language, true, {});
    }
}

TEST(SmsLanguage, Repeated_LastCounts) {
    EXPECT_EQ(read(std::string(TURKISH_SINGLE) + PORTUGUESE_SINGLE, {ESCAPE, 0x7B}), "ã");
    EXPECT_EQ(read(std::string(TURKISH_LOCKING) + "250100", {0x07}), "ì");
}

TEST(SmsLanguage, ElementOfAWrongLength_IsIgnored) {
    EXPECT_EQ(read("2400", {ESCAPE, 0x73}), "s");
    EXPECT_EQ(read("24020101", {ESCAPE, 0x73}), "s");
    EXPECT_EQ(read(std::string(TURKISH_LOCKING) + "25020003", {0x07}), "ı");
}

TEST(SmsLanguage, ElementsThatDoNotAddUp_AreAllIgnored) {
    EXPECT_EQ(read(std::string(TURKISH_SINGLE) + "7005AA", {ESCAPE, 0x73}), "s");
}

// The text begins at the first septet border after the whole header.
TEST(SmsLanguage, TogetherWithAConcatenation_BothCount) {
    const std::string parts[] = {"00032A0302", "08041234" + std::string("0302")};
    for (const std::string& part : parts) {
        for (const std::string& header :
             {part + TURKISH_SINGLE, TURKISH_SINGLE + part, part + TURKISH_SINGLE + TURKISH_LOCKING,
              TURKISH_LOCKING + part + TURKISH_SINGLE}) {
            const sDecoded decoded =
                decode(deliverWithHeader(header, {'a', ESCAPE, 0x73, 'b', ESCAPE, 0x69}));
            EXPECT_EQ(decoded.text(), "aşbı") << header;
            EXPECT_EQ(decoded.sms.partNumber, 2) << header;
            EXPECT_EQ(decoded.sms.numberOfParts, 3) << header;
        }
    }
}

TEST(SmsLanguage, OtherCodings_AreNotAffected) {
    sTestDeliver deliver;
    deliver.firstOctet = "44";
    deliver.userData = std::string("03") + TURKISH_LOCKING + "0107";
    deliver.length = 6;
    deliver.scheme = "04";
    EXPECT_EQ(decode(deliver).hex(), "0107");
    deliver.scheme = "08";
    EXPECT_EQ(decode(deliver).hex(), "0107");
}

TEST(SmsLanguage, SenderName_IsInTheDefaultAlphabet) {
    sTestDeliver deliver = deliverWithHeader(TURKISH_LOCKING, {0x07});
    deliver.address = "02D0" + packedHex({0x07});
    const sDecoded decoded = decode(deliver);
    EXPECT_EQ(decoded.sms.from, "ì");
    EXPECT_EQ(decoded.text(), "ı");
}

TEST(SmsLanguage, LongestText_IsComplete) {
    std::string text;
    for (int i = 0; i < 155; i++)
        text += "ş";
    EXPECT_EQ(read(TURKISH_LOCKING, std::vector<uint8_t>(155, 0x1D)), text);
}

// Three octets each: more than the limit of a text. No character is lost.
TEST(SmsLanguage, TextOfNothingButEuroSigns_IsGivenInSixteenBits) {
    const sDecoded decoded =
        decode(deliverWithHeader(TURKISH_LOCKING, std::vector<uint8_t>(150, 0x04)));
    EXPECT_EQ(decoded.sms.dataCoding, SMS_CODING_16BIT);
    std::string hex;
    for (int i = 0; i < 150; i++)
        hex += "20AC";
    EXPECT_EQ(decoded.hex(), hex);
}

TEST(SmsLanguage, In3gpp2_GsmAlphabetSupportsThemToo) {
    sTest3gpp2 message;
    message.hasHeader = true;
    const std::string header = std::string("03") + TURKISH_SINGLE;
    std::string bits;
    for (const char octet : octetsOfHexText(header + packedHex({ESCAPE, 0x73}, 3)))
        bits += bitsOf(static_cast<unsigned char>(octet), 8);
    message.userData = hexOfBits(bitsOf(9, 5) + bitsOf(7, 8) + bits);
    const sDecoded decoded = decode3gpp2(message);
    EXPECT_EQ(decoded.result, 0);
    EXPECT_EQ(decoded.text(), "ş");
}
