#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/address.h"
#include "platform/sms_pdu/alphabet.h"
#include "platform/sms_pdu/bits.h"
#include "platform/sms_pdu/decode_line.h"
#include "platform/sms_pdu/octets.h"
#include "platform/sms_pdu/time_stamp.h"
#include "platform/sms_pdu/user_data.h"
#include "platform/sms_pdu/user_data_header.h"

// The DELIVER transfer PDU, 3GPP TS 23.040 section 9.2.2.1.

namespace sms_pdu {

namespace {

constexpr uint8_t MESSAGE_TYPE = 0x03;
constexpr uint8_t MESSAGE_TYPE_DELIVER = 0x00;
constexpr uint8_t HAS_USER_DATA_HEADER = 0x40;

constexpr size_t TIME_STAMP_OCTETS = 7;
constexpr size_t MAX_USER_DATA_OCTETS = 140;
constexpr size_t MAX_USER_DATA_SEPTETS = 160;

// Before the transfer PDU come the length and the service centre's address, or a length of 0, or
// (if the line is as long as announced) nothing. Octets after the PDU are not read.
bool takeTransferPdu(const tOctets& line, size_t length, tOctets& transferPdu) {
    if (line.size() == length) {
        transferPdu = line;
        return true;
    }
    cOctetReader reader(line);
    uint8_t serviceCentreOctets = 0;
    tOctets serviceCentre;
    return reader.readOctet(serviceCentreOctets) &&
           reader.readOctets(serviceCentreOctets, serviceCentre) &&
           reader.readOctets(length, transferPdu);
}

// The text begins at the first septet border after the header.
void setSeptetText(const tOctets& userData, size_t septets, size_t headerOctets,
                   const sLanguages& languages, sms_t& sms) {
    const size_t headerSeptets = (headerOctets * 8 + 6) / 7;
    const size_t textSeptets = septets > headerSeptets ? septets - headerSeptets : 0;
    setText(textOfSeptets(unpackSeptets(userData, headerSeptets * 7, textSeptets), languages), sms);
}

bool readUserData(cOctetReader& reader, int coding, bool hasHeader, sms_t& sms) {
    const bool septets = coding == SMS_CODING_TEXT;
    uint8_t length = 0;  // septets of a text, octets of anything else
    tOctets userData;
    if (!reader.readOctet(length)) return false;
    if (length > (septets ? MAX_USER_DATA_SEPTETS : MAX_USER_DATA_OCTETS)) return false;
    if (!reader.readOctets(septets ? (length * 7u + 7) / 8 : length, userData)) return false;
    const size_t headerOctets = hasHeader ? userDataHeaderOctets(userData) : 0;
    const sLanguages languages = readUserDataHeader(userData, headerOctets, sms);
    if (coding == SMS_CODING_8BIT) {
        setOctets(octetsFrom(userData, headerOctets), sms);
    } else if (coding == SMS_CODING_16BIT) {
        set16BitText(octetsFrom(userData, headerOctets), sms);
    } else {
        setSeptetText(userData, length, headerOctets, languages, sms);
    }
    return true;
}

bool readDeliver(const tOctets& transferPdu, sms_t& sms) {
    cOctetReader reader(transferPdu);
    uint8_t firstOctet = 0;
    uint8_t protocol = 0;  // how the message was sent; not used
    uint8_t scheme = 0;
    tOctets stamp;
    if (!reader.readOctet(firstOctet)) return false;
    if ((firstOctet & MESSAGE_TYPE) != MESSAGE_TYPE_DELIVER) return false;
    if (!readAddress(reader, sms.from)) return false;
    if (!reader.readOctet(protocol) || !reader.readOctet(scheme)) return false;
    if (!reader.readOctets(TIME_STAMP_OCTETS, stamp)) return false;
    const sTimeStamp time = readServiceCentreTime(stamp);
    sms.timestamp = time.local;
    sms.timestampUnformatted = time.secondsSinceEpoch;
    const bool hasHeader = (firstOctet & HAS_USER_DATA_HEADER) != 0;
    return readUserData(reader, codingOfScheme(scheme), hasHeader, sms);
}

bool readLine(const tOctets& line, size_t length, sms_t& sms) {
    tOctets transferPdu;
    return takeTransferPdu(line, length, transferPdu) && readDeliver(transferPdu, sms);
}

}  // namespace

}  // namespace sms_pdu

int sms_decode_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput) {
    return sms_pdu::decodeLine("3GPP", sms_pdu::readLine, pdu, length, sms, debugOutput);
}
