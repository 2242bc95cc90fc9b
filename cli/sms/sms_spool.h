#ifndef CLI_SMS_SMS_SPOOL_H
#define CLI_SMS_SMS_SPOOL_H

#include <string>
#include <vector>

#include "cli/base/places.h"

// The daemon's message spool as other programs see it. All slots share it.

// The number as the daemon takes it: digits with or without a leading '+'. Drops blanks, dashes,
// brackets and dots. Throws cFailure for any other character, and for less than 5 or more than 20
// digits.
std::string smsNumber(const std::string& written);

// The text without white space at its end. Throws cFailure if it is empty, longer than the daemon
// sends, or has characters that would arrive as '?'.
std::string smsText(const std::string& written);

// Puts a message into the spool; returns the name of its file there.
std::string putMessage(const sPlaces& places, const std::string& number, const std::string& text);

enum class eSendState { WAITING, SENT, GIVEN_UP, REFUSED };

// The state of a file that putMessage made.
eSendState sendState(const sPlaces& places, const std::string& name);

struct sReceivedMessage {
    std::string file;  // its name in the spool
    std::string from;
    std::string time;
    std::string text;
    // When the file was made; for the order.
    long long receivedNs = 0;
};

// The received messages, oldest first. Skips everything but regular files.
std::vector<sReceivedMessage> receivedMessages(const sPlaces& places);

// A file that is already gone is not a failure.
void deleteReceived(const sPlaces& places, const std::string& file);

#endif
