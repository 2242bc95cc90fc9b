#include "platform/include/sms_pdu.h"
#include "platform/sms_pdu/3gpp2_address.h"
#include "platform/sms_pdu/3gpp2_user_data.h"
#include "platform/sms_pdu/decode_line.h"
#include "platform/sms_pdu/octets.h"
#include "platform/sms_pdu/time_stamp.h"

// The point-to-point message of 3GPP2 C.S0015: a transport layer message (section 3.4.2.1) with the
// bearer data of a deliver message (section 4.4.1) in it. Both are a sequence of elements. Unknown
// elements are skipped; if one comes twice, the last one counts.

namespace sms_pdu {

namespace {

constexpr uint8_t POINT_TO_POINT = 0x00;

constexpr uint8_t PARAMETER_ORIGINATING_ADDRESS = 0x02;
constexpr uint8_t PARAMETER_BEARER_DATA = 0x08;

constexpr uint8_t SUBPARAMETER_MESSAGE_IDENTIFIER = 0x00;
constexpr uint8_t SUBPARAMETER_USER_DATA = 0x01;
constexpr uint8_t SUBPARAMETER_MESSAGE_CENTRE_TIME = 0x03;

constexpr size_t MESSAGE_IDENTIFIER_OCTETS = 3;
constexpr uint8_t MESSAGE_TYPE_DELIVER = 1;
constexpr uint8_t HAS_USER_DATA_HEADER = 0x08;

struct sTransportMessage {
    tOctets originatingAddress;
    tOctets bearerData;
};

struct sBearerData {
    tOctets messageIdentifier;  // message type (4 bits), number (16), header indicator (1)
    tOctets userData;
    tOctets messageCentreTime;
};

bool takeTransportMessage(const tOctets& line, size_t length, sTransportMessage& message) {
    tOctets announced;
    cOctetReader lineReader(line);
    if (!lineReader.readOctets(length, announced)) return false;
    cOctetReader reader(announced);
    uint8_t identifier = 0;
    tOctets parameter;
    if (!reader.readOctet(identifier) || identifier != POINT_TO_POINT) return false;
    while (reader.remaining() > 0) {
        if (!reader.readElement(identifier, parameter)) return false;
        if (identifier == PARAMETER_ORIGINATING_ADDRESS) message.originatingAddress = parameter;
        if (identifier == PARAMETER_BEARER_DATA) message.bearerData = parameter;
    }
    return true;
}

bool takeBearerData(const tOctets& octets, sBearerData& bearerData) {
    cOctetReader reader(octets);
    uint8_t identifier = 0;
    tOctets subparameter;
    while (reader.remaining() > 0) {
        if (!reader.readElement(identifier, subparameter)) return false;
        if (identifier == SUBPARAMETER_MESSAGE_IDENTIFIER) {
            bearerData.messageIdentifier = subparameter;
        }
        if (identifier == SUBPARAMETER_USER_DATA) bearerData.userData = subparameter;
        if (identifier == SUBPARAMETER_MESSAGE_CENTRE_TIME) {
            bearerData.messageCentreTime = subparameter;
        }
    }
    return true;
}

bool readBearerData(const sBearerData& bearerData, sms_t& sms) {
    const tOctets& identifier = bearerData.messageIdentifier;
    if (identifier.size() < MESSAGE_IDENTIFIER_OCTETS) return false;
    if (identifier[0] >> 4 != MESSAGE_TYPE_DELIVER) return false;
    const sTimeStamp time = readMessageCentreTime(bearerData.messageCentreTime);
    sms.timestamp = time.local;
    sms.timestampUnformatted = time.secondsSinceEpoch;
    // A notification of waiting messages has no text.
    if (bearerData.userData.empty()) return true;
    const bool hasHeader = (identifier[2] & HAS_USER_DATA_HEADER) != 0;
    return read3gpp2UserData(bearerData.userData, hasHeader, sms);
}

bool readTransportMessage(const sTransportMessage& message, sms_t& sms) {
    sBearerData bearerData;
    const tOctets& address = message.originatingAddress;
    if (!address.empty() && !read3gpp2Address(address, sms.from)) return false;
    return takeBearerData(message.bearerData, bearerData) && readBearerData(bearerData, sms);
}

bool readLine(const tOctets& line, size_t length, sms_t& sms) {
    sTransportMessage message;
    return takeTransportMessage(line, length, message) && readTransportMessage(message, sms);
}

}  // namespace

}  // namespace sms_pdu

int sms_decode_3gpp2_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput) {
    return sms_pdu::decodeLine("3GPP2", sms_pdu::readLine, pdu, length, sms, debugOutput);
}
