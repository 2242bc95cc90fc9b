#ifndef PLATFORM_INCLUDE_SMS_PDU_H
#define PLATFORM_INCLUDE_SMS_PDU_H

#include <cstddef>
#include <string>
#include <vector>

// Short messages on the air interface: 3GPP TS 23.040 and 23.038 for 3GPP networks, 3GPP2 C.S0015
// for CDMA. Anybody who can send a text message can send any PDU, so everything in it is checked
// before use.

// How to read the user data of a decoded message, however the message coded it (message classes,
// coding groups, language tables).
constexpr int SMS_CODING_TEXT = 0;   // unpacked text in UTF-8, without NUL
constexpr int SMS_CODING_8BIT = 4;   // bytes as received
constexpr int SMS_CODING_16BIT = 8;  // UCS2 or UTF-16, most significant byte first

// Most octets of a text in UTF-8: two for each of 160 septets. A text that needs more (national
// language tables contain the euro sign, which has three octets) is returned in 16-bit characters.
// No other decoded data is longer than 510 octets.
constexpr size_t SMS_MAX_TEXT_OCTETS = 320;

// A decoded message.
struct sms_t {
    std::string from;                  // "+" before an international number; an alphanumeric sender
    std::string timestamp;             // "%Y-%m-%d %H:%M:%S", the service centre's local time;
                                       // empty if the stamp is missing or no date
    std::string timestampUnformatted;  // seconds since the epoch in decimal, within 32 bits
                                       // unsigned; "0" if the stamp is missing or no date
    int reference = 0;                 // of a concatenated message; a 0 in the PDU is 65536 here
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
// the modem announces it; a shorter PDU is refused, and octets after it are not read. A line of
// exactly that many octets has no prefix; those of 3GPP2 never have one. Any other kind of PDU (a
// status report, a submission, an acknowledgement) is refused. debugOutput: print on standard
// output what was found. Returns 0, or -1 with sms reset.
//
// What cannot be decoded properly is returned rather than lost: compressed text and encodings of
// other scripts as 8-bit data; reserved coding schemes and national languages other than Turkish,
// Spanish and Portuguese in the default alphabet; a user data header of impossible length as text.
// If a header element has an impossible part number, the message counts as one of a single part.
int sms_decode_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput);
int sms_decode_3gpp2_pdu(const std::string& pdu, size_t length, sms_t& sms, bool debugOutput);

// Makes one submit PDU of up to 160 septets, or several concatenated ones of up to 153 septets
// each, with a reference that differs from message to message. An escape pair is never split. type:
// only 0 exists. Characters outside the GSM alphabet become '?'. Returns 0, or -1 without PDUs for
// a number or a message that cannot be sent.
int sms_encode_pdus(const sms_encode_request_t& request, int type, bool debugOutput,
                    sms_encode_result_t& result);

#endif
