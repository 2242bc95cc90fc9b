#ifndef PLATFORM_INCLUDE_SMS_PDU_H
#define PLATFORM_INCLUDE_SMS_PDU_H

#include <cstddef>
#include <string>
#include <vector>

// Short messages on the air interface: 3GPP TS 23.040 and 23.038 for 3GPP networks, 3GPP2 C.S0015
// for CDMA. A PDU comes from anybody who can send a text message: nothing in it is believed before
// it is checked.

// How the user data of a decoded message is to be read, whatever the message said it with (message
// classes, coding groups, language tables).
constexpr int SMS_CODING_TEXT = 0;   // unpacked text in UTF-8, without NUL
constexpr int SMS_CODING_8BIT = 4;   // bytes as they came
constexpr int SMS_CODING_16BIT = 8;  // UCS2 or UTF-16, most significant byte first

// Most octets of a text in UTF-8: two for each of 160 septets. A text that needs more (a national
// language table has the euro sign, of three octets) comes in 16-bit characters. Nothing else that
// is decoded is longer than 510 octets.
constexpr size_t SMS_MAX_TEXT_OCTETS = 320;

// A message as decoded.
struct sms_t {
    std::string from;                  // "+" before an international number; an alphanumeric sender
    std::string timestamp;             // "%Y-%m-%d %H:%M:%S", the service centre's local time;
                                       // empty where the stamp is missing or no date
    std::string timestampUnformatted;  // seconds since the epoch in decimal, within 32 bits
                                       // unsigned; "0" where the stamp is missing or no date
    int reference = 0;                 // of a concatenated message; a 0 on the air is 65536 here
    int partNumber = 0;                // 1-based; 0 for a message of one part
    int numberOfParts = 0;             // 0 for a message of one part
    std::vector<unsigned char> userData;
    size_t userDataLength = 0;  // octets of userData
    int dataCoding = SMS_CODING_TEXT;
};

// A message to be sent.
struct sms_encode_request_t {
    std::string number;          // digits
    bool international = false;  // number is international (TS 23.040 section 9.1.2.5)
    std::string address;         // the sender's own number; not put into the PDU
    std::string message;         // at most 918 characters, 0x00 to 0x7F
};

struct sms_encode_result_t {
    std::vector<std::string> pdus;  // in upper-case hexadecimal, with an empty service centre "00"
};

// Decodes a deliver PDU given in hexadecimal. length: octets without the service-centre prefix, as
// the modem announces it; a PDU that is shorter is refused, octets behind it are not read. A line
// of just that many octets has no prefix; those of 3GPP2 never have one. Another kind of PDU (a
// status report, a submission, an acknowledgement) is refused. debugOutput: tell on standard output
// what was found. Returns 0, or -1 with sms reset.
//
// What cannot be read as it should be is handed on rather than lost: compressed text and encodings
// of other scripts as 8-bit data, reserved coding schemes and national languages other than
// Turkish, Spanish and Portuguese in the default alphabet, a user data header that does not fit as
// text. An element of the header that holds an impossible part number makes no part of the message.
int sms_decode_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput);
int sms_decode_3gpp2_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput);

// Makes one submit PDU, or several concatenated ones where the message does not fit: 160 septets,
// then 153 a part, an escape pair never divided, with a reference that differs from message to
// message. type: 0 is the only one. Characters outside the GSM alphabet become '?'. Returns 0, or
// -1 with no PDUs for a number or a message that cannot be sent.
int sms_encode_pdus(const sms_encode_request_t& request, int type, bool debugOutput,
                    sms_encode_result_t& result);

#endif
