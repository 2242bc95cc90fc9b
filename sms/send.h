#ifndef SMS_SEND_H
#define SMS_SEND_H

#include <string>

#include "include/result_codes.h"
#include "sms/sms_mode.h"

struct sModemInfo;

// Sending: from the files of /send/ to the modem.

// Character set of AT+CSCS (3GPP TS 27.007 section 5.5).
enum eTextMode : int {
    eSMS_TEXT_GSM = 0,
    eSMS_TEXT_IRA = 1,
    eSMS_TEXT_8859_1 = 2,
    eSMS_TEXT_PCCP437 = 3,
    eSMS_TEXT_UCS2 = 4,
    eSMS_TEXT_HEX = 5,
};

// Six concatenated parts of 153 characters.
constexpr size_t SMS_MESSAGE_MAX = 918;

// Sends the message of the last file in /send/. Moves the file to /send_ok/, or after the third
// failure to /send_fail/. eSUCCESS, also without a file; eERROR_DEVICE_SMS_DELAY_TIMER_RUNNING for
// a while after a failed attempt; ..._READ_SEND_DIR_FAILURE; ..._OUT_FILE_PARSE_FAILURE for a file
// that was not usable and is deleted; otherwise the result of sendSmSMessage.
eGeneralErrors checkSendSmS(int port, sModemInfo& modem, const std::string& root);

// Sends a message in as many parts as it needs. address: the own number, for the encoder.
// eERROR_DEVICE_RESPONSE_TIMEOUT, eERROR_DEVICE_SMS_PDU_ENCODE_FAILURE,
// eERROR_DEVICE_SMS_PDU_SEND_ERROR.
eGeneralErrors sendSmSMessage(int port, const std::string& number, const std::string& address,
                              const std::string& message, e3gppType type);

// AT+CMGS in PDU mode. length: hexadecimal digits of pdu, service centre included.
ePortReturn sendSmsPdu(int port, size_t length, const std::string& pdu);

// AT+CMGS in text mode.
ePortReturn sendSmsText(int port, const std::string& number, const std::string& message);

// AT+CSCS. SMS_UNKNOWN_TYPE for an unknown character set.
ePortReturn setSmsTextMode(int port, eTextMode mode);

#endif
