#ifndef TESTS_UNIT_SMS_RECEIVE_FIXTURE_H
#define TESTS_UNIT_SMS_RECEIVE_FIXTURE_H

#include <string>
#include <vector>

#include "include/device_records.h"
#include "sms/listing_marker.h"
#include "sms/receive.h"
#include "tests/unit/sms/fixture.h"

// Checks for messages on a fake port.
class SmsReceive : public cSmsFixture {
  protected:
    eGeneralErrors check() { return checkReceiveSmS(port.descriptor(), device.modem, root); }
    // One check with this listing; returns its result.
    eGeneralErrors receive(const tNames& pdus) {
        port.answer(OK_REPLY).answer(listing(pdus));
        return check();
    }
    tNames commands() {
        tNames fresh(port.commands().begin() + static_cast<long>(m_seen), port.commands().end());
        m_seen = port.commands().size();
        return fresh;
    }
    void leaveMarker() {
        bool leftOver;
        ASSERT_TRUE(openListing(root, leftOver));
    }

    cFakePort port;

  private:
    size_t m_seen = 0;
};

inline const tNames USUAL = {"AT+CMGF=0", "AT+CMGL=0"};
inline const tNames RECOVERING = {"AT+CMGF=0", "AT+CMGL=0", "AT+CMGL=1"};

inline std::string file(const std::string& from, const std::string& text) {
    return "FROM=" + from + "\nTIME=2020-06-15 20:32:05\nMSG=" + text;
}

#endif
