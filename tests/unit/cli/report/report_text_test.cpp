#include "cli/report/report_text.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* LINE_START = "Nov 22 16:24:50.123456 gw cellslotd[12345]: ";

std::string hidden(const std::string& text, bool withIdentities = false) {
    cReportText report(withIdentities);
    const std::string line = report.hidden(LINE_START + text);
    EXPECT_EQ(line.substr(0, std::string(LINE_START).size()), LINE_START);
    return line.substr(std::string(LINE_START).size());
}

struct sCase {
    const char* written;
    const char* hidden;
};

// As the daemon logs them.
// clang-format off
const sCase SECRETS[] = {
    {"Error: Cannot CHANGE CPIN from '1111' to '2222', bad password", "Error: Cannot CHANGE CPIN from '0000' to '0000', bad password\n"},
    {"CPIN chnage success to 2222", "CPIN chnage success to 0000\n"},
    {"Warning: Device timeout while trying to change CPIN password to 2222", "Warning: Device timeout while trying to change CPIN password to 0000\n"},
    {"The change of the SIM PIN to '2222' was cut off, requesting it again", "The change of the SIM PIN to '0000' was cut off, requesting it again\n"},
    {"Error: Unable to disable SIM PIN, bad password '1111'", "Error: Unable to disable SIM PIN, bad password '0000'\n"},
    {"Error: Cannot change SIM CPIN, Current CPIN 12ab is not a valid format", "Error: Cannot change SIM CPIN, Current CPIN 00xx is not a valid format\n"},
    {"Error: Cannot unlock SIM PUK, PUK '1234567', not a valid format", "Error: Cannot unlock SIM PUK, PUK '0000000', not a valid format\n"},
    {"CELLMODEM1_SIM_EXTENDED_STATUS=Error: Unable to unlock SIM PIN, bad password '1111'", "CELLMODEM1_SIM_EXTENDED_STATUS=Error: Unable to unlock SIM PIN, bad password '0000'\n"},
    {"Config option CM_PASSWORD is 'older-s3cret'", "Config option CM_PASSWORD is 'xxxxx_x0xxxx_\n"},
    {"Config option CM_PASSWORD='s3cret' is too long, max length is 63", "Config option CM_PASSWORD='x0xxxx_ xx xxx xxxx, xxx xxxxxx xx 00\n"},
    {"Config option CM_USERNAME is 'pump'", "Config option CM_USERNAME is 'xxxx_\n"},
    {"Config option CM_USERNAME value'pump' is too long, max length is 63", "Config option CM_USERNAME value'xxxx_ xx xxx xxxx, xxx xxxxxx xx 00\n"},
    {"Setting PDP username 'pump', password 'abc', auth type '1' for profile context 1", "Setting PDP username 'xxxx_, xxxxxxxx _xxx_, xxxx xxxx _0_ xxx xxxxxxx xxxxxxx 0\n"},
    {"- Sending AT command AT!ENTERCND=\"A710\", extra timeout 5", "- Sending AT command AT_xxxxxxxx=\"x000\", extra timeout 5\n"},
    {"- Sending AT command at +cpin=1234, extra timeout 0", "- Sending AT command at +cpin=0000, extra timeout 0\n"},
    {"DEBUG: sendAtCommand(): Sending AT command: 'AT!ENTERCND=\"A710\"'", "DEBUG: sendAtCommand(): Sending AT command: 'AT_xxxxxxxx=\"x000\"'\n"},
    {"DEBUG: readAtCommandResponse(): Returning string class : AT!ENTERCND=\"A710\"", "DEBUG: readAtCommandResponse(): Returning string class : AT_xxxxxxxx=\"x000\"\n"},
    {"setCpin(): Command 'AT+CPIN=1234' reported ERROR", "setCpin(): Command 'AT+CPIN=0000' reported ERROR\n"},
};

const char* const MESSAGES[] = {
    "Received SMS from 5550101 at 2026-11-22 10:00:00, Message: the door code is 4711",
    "Received SMS Part 1/2 (ID: 7) from 5550101 at 2026-11-22 10:00:00, Message: the door code is 4711",
    "Send Success: TO=5550101, MSG=the door code is 4711",
    "Send #1 Failed: TO=5550101, MSG=the door code is 4711 (truncated)",
    "Send #3 Failed : TO=5550101, MSG=the door code is 4711 (truncated)",
    "SMS listing, not understood: the door code is 4711",
    "SMS PDU that was not decoded: 07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37",
    "DEBUG: parseSmsPduMessages(): Decode message: from 5550101 ",
    "DEBUG: parseSmsPduMessages(): Decode message: message the door code is 4711",
    "DEBUG: parseSmsPduMessages(): Enqueue message: 5550101, 2026-11-22 10:00:00, the door code is 4711",
    "DEBUG:  assembleSms(): - Adding Group ID 7, Message part #1, Message 'the door code is 4711'",
    "DEBUG: sendSmSMessage(): Decoded SMS: Length: 24 PDU: 07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37",
    "SMS send file /tmp/sms/send/a is invalid, number '5550101' is too short",
    "writeSmsMessages: Writing out incoming SMS message to file /tmp/sms/recv/sms_5550101_1",
    " from '5550101', time '2026-11-22 10:00:00' (1)",
    " coding 0, 20 octets: the door code is 4711",
    "07917283010010F5040B917238880900F10000993092516195000AE8329BFD4697D9EC37",
};

// Without them nobody finds out what happened.
const char* const PLAIN[] = {
    "sendQuery(): Command 'AT+CSQ' TIMEOUT",
    "setAPN(): Command 'AT+CGDCONT=1,\"IP\",\"internet\"' reported CME Error 'SIM busy' (14)",
    "getSimStatus(): Command 'AT+CPIN?' reported ERROR",
    "DEBUG: sendAtCommand(): Sending AT command: 'AT+CPIN?;#PCT'",
    "- Sending AT command AT+CSQ, extra timeout 0",
    "DEBUG: readAtCommandResponse(): Returning string class : AT+CSQ",
    "Registration switched from 'Searching' to 'Home'",
    "Config option CM_APN is 'internet'",
    "Attempting to enable SIM PIN",
    "Error: Cannot change SIM CPIN, the new CPIN cannot be noted in its folder",
    "SIM PIN: 3 attempts left, PIN required",
    "Opened Char device '/dev/ttyUSB2'",
};
// clang-format on

}  // namespace

TEST(ReportText, SecretsInTheDaemonsLog_AreHiddenWhetherIdentitiesAreKeptOrNot) {
    for (const sCase& row : SECRETS) {
        EXPECT_EQ(hidden(row.written), row.hidden);
        EXPECT_EQ(hidden(row.written, true), row.hidden);
    }
}

TEST(ReportText, MessagesInTheDaemonsLog_AreHiddenUnlessIdentitiesAreWanted) {
    for (const std::string message : MESSAGES) {
        const std::string text = hidden(message);
        for (const char* const part : {"5550101", "4711", "door", "E8329BFD", "7238880900"})
            EXPECT_EQ(text.find(part), std::string::npos) << text;
        EXPECT_EQ(hidden(message, true), message + "\n");
    }
}

TEST(ReportText, OtherLines_StayReadable) {
    for (const std::string line : PLAIN)
        EXPECT_EQ(hidden(line), line + "\n");
}

TEST(ReportText, Identity_IsHiddenUnlessWanted) {
    for (const bool isWanted : {false, true}) {
        cReportText report(isWanted);
        report.addIdentity("5550101");
        EXPECT_EQ(report.hidden("my number: 5550101"),
                  isWanted ? "my number: 5550101\n" : "my number: 0000000\n");
    }
}
