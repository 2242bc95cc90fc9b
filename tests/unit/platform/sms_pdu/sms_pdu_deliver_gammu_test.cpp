#include <gammu.h>
#include <gtest/gtest.h>

#include <ctime>

#include "tests/unit/platform/sms_pdu/support.h"

// libgammu's decoder as an independent judge of ours. It reads beyond the end of malformed PDUs, so
// it gets only PDUs that ours has accepted, followed by zeros.

namespace {

constexpr size_t MAX_PDU_OCTETS = 180;
constexpr size_t PADDED_OCTETS = 1024;
constexpr int ROUNDS = 1000;

struct sVerdict {
    GSM_Error error = ERR_NONE;
    GSM_SMSMessageType type = SMS_Deliver;
    std::string from;
    std::string time;
    std::string seconds;
    int reference = 0;
    int partNumber = 0;
    int numberOfParts = 0;
    int dataCoding = SMS_CODING_TEXT;
    std::string userData;
};

std::string utf8Of(const unsigned char* unicode) {
    char utf8[4096] = {};
    EncodeUTF8(utf8, unicode);
    return utf8;
}

// Length counts the characters or octets in the PDU; with pairs from the extension table it is more
// than the length of Text.
void setUserData(const GSM_SMSMessage& message, sVerdict& verdict) {
    const size_t length = static_cast<size_t>(message.Length);
    switch (message.Coding) {
        case SMS_Coding_Default_No_Compression:
            verdict.dataCoding = SMS_CODING_TEXT;
            verdict.userData = utf8Of(message.Text);
            return;
        case SMS_Coding_Unicode_No_Compression:
            verdict.dataCoding = SMS_CODING_16BIT;
            verdict.userData.assign(message.Text, message.Text + length * 2);
            return;
        case SMS_Coding_8bit:
            verdict.dataCoding = SMS_CODING_8BIT;
            verdict.userData.assign(message.Text, message.Text + length);
            return;
        default:
            ADD_FAILURE() << "a coding of the judge that no test expects: " << message.Coding;
    }
}

std::string secondsOf(const GSM_DateTime& time) {
    tm utc{};
    utc.tm_year = time.Year - 1900;
    utc.tm_mon = time.Month - 1;
    utc.tm_mday = time.Day;
    utc.tm_hour = time.Hour;
    utc.tm_min = time.Minute;
    utc.tm_sec = time.Second;
    return std::to_string(timegm(&utc) - time.Timezone);
}

std::string textOf(const GSM_DateTime& time) {
    char text[128];
    snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.Year, time.Month, time.Day,
             time.Hour, time.Minute, time.Second);
    return text;
}

sVerdict judge(const std::string& pdu) {
    sVerdict verdict;
    std::string line = octetsOfHexText(pdu);
    if (line.size() > MAX_PDU_OCTETS) {
        ADD_FAILURE() << "too long for the judge: " << pdu;
        verdict.error = ERR_MOREMEMORY;
        return verdict;
    }
    const size_t length = line.size();
    line.resize(PADDED_OCTETS, '\0');
    static GSM_SMSMessage s_message;
    s_message = GSM_SMSMessage{};
    size_t end = 0;
    verdict.error =
        GSM_DecodePDUFrame(GSM_GetGlobalDebug(), &s_message,
                           reinterpret_cast<const unsigned char*>(line.data()), length, &end, TRUE);
    verdict.type = s_message.PDU;
    verdict.from = utf8Of(s_message.Number);
    verdict.time = textOf(s_message.DateTime);
    verdict.seconds = secondsOf(s_message.DateTime);
    const GSM_UDHHeader& header = s_message.UDH;
    if (header.Type != UDH_NoUDH) {
        verdict.reference = header.ID16bit >= 0 ? header.ID16bit : header.ID8bit;
        verdict.partNumber = header.PartNumber;
        verdict.numberOfParts = header.AllParts;
    }
    setUserData(s_message, verdict);
    return verdict;
}

using tFields = std::vector<std::pair<std::string, std::string>>;

tFields fieldsOf(const sDecoded& decoded) {
    const sms_t& sms = decoded.sms;
    return {{"from", sms.from},
            {"time", sms.timestamp},
            {"seconds", sms.timestampUnformatted},
            {"reference", std::to_string(sms.reference)},
            {"part", std::to_string(sms.partNumber)},
            {"parts", std::to_string(sms.numberOfParts)},
            {"coding", std::to_string(sms.dataCoding)},
            {"data", decoded.hex()}};
}

tFields fieldsOf(const sVerdict& verdict) {
    return {{"from", verdict.from},
            {"time", verdict.time},
            {"seconds", verdict.seconds},
            {"reference", std::to_string(verdict.reference)},
            {"part", std::to_string(verdict.partNumber)},
            {"parts", std::to_string(verdict.numberOfParts)},
            {"coding", std::to_string(verdict.dataCoding)},
            {"data", hexOfText(verdict.userData)}};
}

void expectAgreement(const std::string& pdu, const sDecoded& decoded) {
    const sVerdict verdict = judge(pdu);
    ASSERT_EQ(decoded.result, 0) << pdu;
    ASSERT_EQ(verdict.error, ERR_NONE) << pdu;
    ASSERT_EQ(fieldsOf(verdict), fieldsOf(decoded)) << pdu;
}

struct sDifference {
    const char* example;
    const char* field;
    const char* judged;
};

const char LEFT_OUT[] = "service centre left out; 8-bit data of class 1";

const sDifference DIFFERENCES[] = {
    // The judge adds 1990 to the years 90 to 99, which gives 2080 to 2089.
    {"national number, zone east", "time", "2089-03-29 15:16:59"},
    {"national number, zone east", "seconds", "3762940619"},
    {"short code; full part; reference 0; earliest year", "time", "2080-01-01 00:00:00"},
    {"short code; full part; reference 0; earliest year", "seconds", "3471221700"},
    // It returns a reference of 0 unchanged.
    {"short code; full part; reference 0; earliest year", "reference", "0"},
    // It refuses a header that is longer than the user data, and then loses the sender too.
    {"alphanumeric sender, header announced but not there", "from", ""},
    {"alphanumeric sender, header announced but not there", "reference", "-1"},
    {"alphanumeric sender, header announced but not there", "part", "-1"},
    {"alphanumeric sender, header announced but not there", "parts", "-1"},
    {"alphanumeric sender, header announced but not there", "data", ""},
    // It recognises a concatenated message only by a header without other elements.
    {"no service centre; class 0; port address, then 16-bit reference; UCS2, a surrogate pair",
     "reference", "-1"},
    {"no service centre; class 0; port address, then 16-bit reference; UCS2, a surrogate pair",
     "part", "-1"},
    {"no service centre; class 0; port address, then 16-bit reference; UCS2, a surrogate pair",
     "parts", "-1"},
    // It reads the septets of a name as ASCII, and the 0 of '@' as the end.
    {"alphanumeric sender, extension table, latest year", "from", "T~r"},
};

std::string expectedOfJudge(const std::string& example, const std::string& field,
                            const std::string& ours) {
    for (const sDifference& difference : DIFFERENCES) {
        if (example != difference.example || field != difference.field) continue;
        EXPECT_NE(ours, difference.judged) << example << ": no difference any more, " << field;
        return difference.judged;
    }
    return ours;
}

GSM_Coding_Type codingOfJudge(unsigned scheme) {
    return GSM_GetMessageCoding(GSM_GetGlobalDebug(), static_cast<char>(scheme));
}

std::string twoDigits(size_t number) {
    return {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

std::string randomAddress(std::mt19937& random) {
    if (randomBelow(random, 3) == 0) {
        std::vector<uint8_t> name(1 + randomBelow(random, 11));
        for (uint8_t& septet : name)
            septet = static_cast<uint8_t>('A' + randomBelow(random, 26));
        return hexOctet((name.size() * 7 + 3) / 4) + "D0" + packedHex(name);
    }
    const std::string number = randomDigits(random, 1 + randomBelow(random, 20));
    return hexOctet(number.size()) + (randomBelow(random, 2) == 0 ? "91" : "81") + swapped(number);
}

// Years that both read alike.
std::string randomStamp(std::mt19937& random) {
    const std::string zone = twoDigits(randomBelow(random, 80));
    const std::string stamp =
        twoDigits(randomBelow(random, 90)) + twoDigits(1 + randomBelow(random, 12)) +
        twoDigits(1 + randomBelow(random, 28)) + twoDigits(randomBelow(random, 24)) +
        twoDigits(randomBelow(random, 60)) + twoDigits(randomBelow(random, 60));
    const char tens = "0123456789ABCDEF"[zone[0] - '0' + (randomBelow(random, 2) == 0 ? 0 : 8)];
    return swapped(stamp) + zone[1] + tens;
}

// Escapes only before entries of the extension table.
std::vector<uint8_t> randomSeptets(std::mt19937& random, size_t count) {
    static const uint8_t EXTENDED[] = {0x0A, 0x14, 0x28, 0x29, 0x2F, 0x3C, 0x3D, 0x3E, 0x40, 0x65};
    std::vector<uint8_t> septets;
    while (septets.size() < count) {
        const uint8_t septet = static_cast<uint8_t>(randomBelow(random, 128));
        if (septet == 0x1B && septets.size() + 1 == count) continue;
        septets.push_back(septet);
        if (septet == 0x1B) septets.push_back(EXTENDED[randomBelow(random, std::size(EXTENDED))]);
    }
    return septets;
}

// A reference other than 0 and more than one part: the judge returns those unchanged.
std::string randomHeader(std::mt19937& random) {
    const size_t parts = 2 + randomBelow(random, 254);
    const std::string numbers = hexOctet(parts) + hexOctet(1 + randomBelow(random, parts));
    const size_t reference = 1 + randomBelow(random, 255);
    if (randomBelow(random, 2) == 0) return "0003" + hexOctet(reference) + numbers;
    return "0804" + hexOctet(randomBelow(random, 256)) + hexOctet(reference) + numbers;
}

// No 16-bit unit that the judge reads differently.
sTestDeliver randomDeliver(std::mt19937& random) {
    const bool hasHeader = randomBelow(random, 2) == 1;
    const std::string header = hasHeader ? randomHeader(random) : "";
    sTestDeliver deliver =
        deliverWithHeader(header, randomSeptets(random, randomBelow(random, 150)));
    if (!hasHeader) {
        const std::vector<uint8_t> septets = randomSeptets(random, randomBelow(random, 161));
        deliver.firstOctet = "04";
        deliver.length = septets.size();
        deliver.userData = packedHex(septets);
    }
    const size_t coding = randomBelow(random, 3);
    if (coding != 0) {
        const std::string header8 = hasHeader ? hexOctet(header.size() / 2) + header : "";
        deliver.scheme = coding == 1 ? "04" : "08";
        deliver.userData = header8;
        for (size_t units = randomBelow(random, 66); units > 0; units--) {
            const size_t unit = randomBelow(random, 0x10000);
            if (unit == 0x0001 || unit == 0x007E) continue;
            deliver.userData += hexOctet(unit >> 8) + hexOctet(unit);
        }
        deliver.length = deliver.userData.size() / 2;
    }
    deliver.serviceCentre = randomBelow(random, 2) == 0 ? "00" : deliver.serviceCentre;
    deliver.address = randomAddress(random);
    deliver.stamp = randomStamp(random);
    return deliver;
}

}  // namespace

TEST(SmsGammu, Examples_AreReadAlikeExceptForTheListedDifferences) {
    for (const sExample& example : examples3gpp()) {
        SCOPED_TRACE(example.name);
        // The judge requires the length of a service centre, even if it is 0.
        const std::string prefix = std::string(example.name) == LEFT_OUT ? "00" : "";
        const sDecoded decoded = decode(example.pdu, example.length);
        const sVerdict verdict = judge(prefix + example.pdu);
        EXPECT_EQ(verdict.error, ERR_NONE);
        const tFields ours = fieldsOf(decoded);
        const tFields theirs = fieldsOf(verdict);
        for (size_t i = 0; i < ours.size(); i++) {
            EXPECT_EQ(theirs[i].second,
                      expectedOfJudge(example.name, ours[i].first, ours[i].second))
                << ours[i].first;
        }
    }
}

TEST(SmsGammu, Alphabet_IsTheSame) {
    for (uint8_t septet = 0; septet < 128; septet++) {
        if (septet == 0x1B) continue;
        sTestDeliver deliver;
        deliver.stamp = "42209232959500";
        deliver.length = 3;
        deliver.userData = packedHex({'a', septet, 'b'});
        expectAgreement(deliver.pdu(), decode(deliver));
    }
    for (const uint8_t septet : {0x0A, 0x14, 0x28, 0x29, 0x2F, 0x3C, 0x3D, 0x3E, 0x40, 0x65}) {
        sTestDeliver deliver;
        deliver.stamp = "42209232959500";
        deliver.length = 4;
        deliver.userData = packedHex({'a', 0x1B, septet, 'b'});
        expectAgreement(deliver.pdu(), decode(deliver));
    }
}

// For the judge an undefined escape is a superscript one before the character. TS 23.038 requires
// that it is skipped, and that an escape alone is a blank.
TEST(SmsGammu, EscapeWithoutAMeaning_IsReadDifferently) {
    sTestDeliver deliver;
    deliver.length = 4;
    deliver.userData = packedHex({'a', 0x1B, 'x', 'b'});
    EXPECT_EQ(judge(deliver.pdu()).userData, "a¹xb");
    EXPECT_EQ(decode(deliver).text(), "axb");
    deliver.length = 2;
    deliver.userData = packedHex({'a', 0x1B});
    EXPECT_EQ(judge(deliver.pdu()).userData, "a¹");
    EXPECT_EQ(decode(deliver).text(), "a ");
}

// If TS 23.038 reserves a scheme, a receiver reads it as the default alphabet (section 4); the
// judge reads it as 8-bit data.
TEST(SmsGammu, CodingSchemes_AreReadAlikeUnlessReserved) {
    for (unsigned scheme = 0; scheme < 256; scheme++) {
        sTestDeliver deliver;
        deliver.scheme = hexOctet(scheme);
        deliver.length = 8;
        const int ours = decode(deliver).sms.dataCoding;
        const GSM_Coding_Type theirs = codingOfJudge(scheme);
        const unsigned group = scheme >> 4;
        const bool alphabetReserved = group < 0x8 && (scheme & 0x0C) == 0x0C;
        const bool groupReserved = group >= 0x8 && group <= 0xB;
        const bool bitReserved =
            (group >= 0xC && group <= 0xE && (scheme & 0x04) != 0) || (scheme & 0xF8) == 0xF8;
        // Neither decoder unpacks compressed text: here it is 8-bit data, there a separate kind.
        const bool compressed = group < 0x8 && (scheme & 0x20) != 0;
        if (compressed) {
            EXPECT_EQ(ours, SMS_CODING_8BIT) << scheme;
            EXPECT_TRUE(theirs == SMS_Coding_Default_Compression ||
                        theirs == SMS_Coding_Unicode_Compression || theirs == SMS_Coding_8bit)
                << scheme;
        } else if (alphabetReserved || groupReserved || bitReserved) {
            EXPECT_EQ(theirs, SMS_Coding_8bit) << scheme;
        } else if (ours == SMS_CODING_TEXT) {
            EXPECT_EQ(theirs, SMS_Coding_Default_No_Compression) << scheme;
        } else if (ours == SMS_CODING_8BIT) {
            EXPECT_EQ(theirs, SMS_Coding_8bit) << scheme;
        } else {
            EXPECT_EQ(theirs, SMS_Coding_Unicode_No_Compression) << scheme;
        }
    }
}

// The judge returns the values of the element. Here an impossible part number invalidates the
// element (TS 23.040 section 9.2.3.24.1), and a message of one part is an ordinary message.
TEST(SmsGammu, ImpossiblePart_IsReadDifferently) {
    for (const char* header : {"00032A0300", "00032A0304", "00032A0101"}) {
        const sTestDeliver deliver = deliverWithHeader(header, plainSeptets("text"));
        EXPECT_EQ(judge(deliver.pdu()).reference, 42) << header;
        EXPECT_EQ(decode(deliver).sms.reference, 0) << header;
        EXPECT_EQ(judge(deliver.pdu()).userData, decode(deliver).text()) << header;
    }
}

// '*', '#' and some letters are digits of a number in TS 23.040; the judge then returns no number.
TEST(SmsGammu, DigitsAboveNine_AreReadDifferently) {
    sTestDeliver deliver;
    deliver.address = "0681BADCFE";
    EXPECT_EQ(judge(deliver.pdu()).from, "");
    EXPECT_EQ(decode(deliver).sms.from, "*#abc");
}

// An eighth septet of 0 is '@' here, but the end of the text there.
TEST(SmsGammu, NameThatEndsInAnAt_IsReadDifferently) {
    sTestDeliver deliver;
    deliver.address = "0ED0E474D81C0EBB01";
    EXPECT_EQ(judge(deliver.pdu()).from, "diafaan");
    EXPECT_EQ(decode(deliver).sms.from, "diafaan@");
}

// In 16-bit text the judge applies a private coding of old phones, in which 0001 introduces a '~'.
TEST(SmsGammu, WideTildes_AreReadDifferently) {
    sTestDeliver deliver;
    deliver.scheme = "08";
    deliver.userData = "0041000100420043";
    deliver.length = 8;
    EXPECT_EQ(hexOfText(judge(deliver.pdu()).userData), "0041007E00420043");
    EXPECT_EQ(decode(deliver).hex(), "0041000100420043");
}

TEST(SmsGammu, RandomDeliveredMessages_AreReadAlike) {
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        const sTestDeliver deliver = randomDeliver(random);
        expectAgreement(deliver.pdu(), decode(deliver));
        if (HasFatalFailure()) return;
    }
}

TEST(SmsGammu, RandomSentMessages_AreReadCorrectly) {
    static const char SENDABLE[] = "@$\n\r_ !\"#%&'()*+,-./019:;<=>?AMZamz^{}\\[~]|";
    std::mt19937 random = seededRandom();
    for (int i = 0; i < ROUNDS; i++) {
        sms_encode_request_t request;
        request.number = randomDigits(random, 1 + randomBelow(random, 20));
        request.international = randomBelow(random, 2) == 1;
        // The judge treats the shortest messages as cut off.
        for (size_t left = 10 + randomBelow(random, 909); left > 0; left--) {
            request.message += SENDABLE[randomBelow(random, sizeof SENDABLE - 1)];
        }
        sms_encode_result_t result;
        ASSERT_EQ(sms_encode_pdus(request, 0, false, result), 0);
        const bool parted = result.pdus.size() > 1;
        std::string text;
        int part = 0;
        for (const std::string& pdu : result.pdus) {
            const sVerdict verdict = judge(pdu);
            part++;
            ASSERT_EQ(verdict.error, ERR_NONE) << pdu;
            ASSERT_EQ(verdict.type, SMS_Submit) << pdu;
            ASSERT_EQ(verdict.from, (request.international ? "+" : "") + request.number) << pdu;
            ASSERT_EQ(verdict.partNumber, parted ? part : 0) << pdu;
            ASSERT_EQ(verdict.numberOfParts, parted ? static_cast<int>(result.pdus.size()) : 0);
            text += verdict.userData;
        }
        ASSERT_EQ(text, request.message);
    }
}
