#ifndef SMS_RECEIVE_H
#define SMS_RECEIVE_H

#include <string>

#include "include/result_codes.h"
#include "platform/include/sms_pdu.h"
#include "sms/message_file.h"
#include "sms/sms_mode.h"

struct sModemInfo;

// Receiving: from the modem's message memory to the spool.

// Which messages AT+CMGL lists (3GPP TS 27.005 section 3.4.2).
enum eSmsReadType : int {
    eSMS_READ_UNREAD = 0,
    eSMS_READ_READ = 1,
    eSMS_READ_ALL = 2,
};

// Which messages AT+CMGD deletes (section 3.5.4): the read ones; each further value adds the sent
// ones, the unsent ones, and finally all others.
enum eSmsDelType : int {
    eSMS_DELETE_READ = 0,
    eSMS_DELETE_READ_SENT = 1,
    eSMS_DELETE_READ_SENT_UNSENT = 2,
    eSMS_DELETE_ALL = 3,
};

// AT+CMGL in PDU mode: appends the listed messages to the queue. The modem marks them as read.
ePortReturn getSmsMsg(int port, e3gppType type, eSmsReadType readType, tSmsQueue& queue);

// AT+CMGD.
ePortReturn deleteSmsMsg(int port, eSmsDelType type);

// Appends the messages of a listing. Lines that are not understood are logged.
void parseSmsPduMessages(e3gppType type, const std::string& response, tSmsQueue& queue);

// The text of a decoded message. Bytes that are not text and 16-bit characters beyond Latin-1
// become
// '?'.
void decodePduUserdata(const sms_t& sms, std::string& text);

// Lists the unread messages, writes them to the spool, and joins messages that are complete now.
// eSUCCESS, also when the modem refused; eERROR_DEVICE_RESPONSE_TIMEOUT when it did not answer the
// listing; eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE, with nothing listed, when the spool cannot
// be written.
eGeneralErrors checkReceiveSmS(int port, sModemInfo& modem, const std::string& root);

// Call this after the modem has deleted the listed messages.
void forgetListedMessages();

#endif
