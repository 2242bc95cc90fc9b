#ifndef SMS_RECEIVE_H
#define SMS_RECEIVE_H

#include <string>

#include "include/device_records.h"
#include "platform/include/sms_pdu.h"
#include "sms/message_file.h"
#include "sms/sms_mode.h"

// From the modem's message memory to the spool.

// Which messages AT+CMGL lists (3GPP TS 27.005 section 3.4.2).
enum eSmsReadType : int {
    eSMS_READ_UNREAD = 0,
    eSMS_READ_READ = 1,
    eSMS_READ_ALL = 2,
};

// Which messages AT+CMGD deletes (section 3.5.4): the read ones, and with each further value the
// sent, the unsent and at last all.
enum eSmsDelType : int {
    eSMS_DELETE_READ = 0,
    eSMS_DELETE_READ_SENT = 1,
    eSMS_DELETE_READ_SENT_UNSENT = 2,
    eSMS_DELETE_ALL = 3,
};

// AT+CMGL in PDU mode: appends what was listed to the queue. The modem marks it as read.
ePortReturn getSmsMsg(int port, e3gppType type, eSmsReadType readType, tSmsQueue& queue);

// AT+CMGD.
ePortReturn deleteSmsMsg(int port, eSmsDelType type);

// The messages of a listing. What is not understood is left out and logged as it is.
void parseSmsPduMessages(e3gppType type, const std::string& response, tSmsQueue& queue);

// The text of a decoded message: bytes of it that are no text become '?', 16-bit characters beyond
// Latin-1 as well.
void decodePduUserdata(const sms_t& sms, std::string& text);

// Lists the unread messages, writes them to the spool, joins what has become complete. eSUCCESS,
// also when the modem refused; eERROR_DEVICE_RESPONSE_TIMEOUT when it did not answer the listing;
// eERROR_DEVICE_SMS_WRITE_RECEIVE_DIR_FAILURE, with nothing listed, when the spool cannot be
// written.
eGeneralErrors checkReceiveSmS(int port, sModemInfo& modem, const std::string& root);

// The modem has deleted what it had listed.
void forgetListedMessages();

#endif
