#ifndef TESTS_UNIT_SMS_SEND_FIXTURE_H
#define TESTS_UNIT_SMS_SEND_FIXTURE_H

#include <string>
#include <vector>

#include "include/device_records.h"
#include "include/sleep.h"
#include "include/utilities.h"
#include "sms/send.h"
#include "tests/unit/sms/fixture.h"

inline const std::string CTRL_Z = "\x1a";
inline const std::string ESC = "\x1b";
inline const std::string PROMPT = "\r\n> ";
inline const std::string SENT = "\r\n+CMGS: 5\r\n\r\nOK\r\n";

// Messages to send, and a fake port.
class SmsSend : public cSmsFixture {
  protected:
    SmsSend() { device.modem.s_own_number = "12025550101"; }

    eGeneralErrors check() { return checkSendSmS(port.descriptor(), device.modem, root); }
    // Answers for one message of one PDU.
    void modemSends() { port.answer(OK_REPLY).answer(PROMPT).answer(SENT); }
    void modemRefuses() { port.answer(OK_REPLY).answer(PROMPT).answer(ERROR_REPLY); }
    eGeneralErrors checkSent() {
        modemSends();
        return check();
    }
    eGeneralErrors checkRefused() {
        modemRefuses();
        const eGeneralErrors result = check();
        waitForDelay();
        return result;
    }
    static void waitForDelay() { sleepMicroseconds(5000000); }
    // The file that the daemon sends next.
    std::string lastListed() const {
        tNames found;
        readFilesInDir(in("send"), found);
        return found.empty() ? "" : found.back();
    }

    cFakePort port;
};

#endif
