#ifndef SMS_MESSAGE_FILE_H
#define SMS_MESSAGE_FILE_H

#include <string>
#include <vector>

#include "sms/sms_records.h"

// Resets all fields but timeUnformatted, which every decoded message overwrites.
void resetSmsRecord(S_smsRecordRx& record);

// The file of a message or a part, as published/sms_spool.h describes it. The text has no line end
// of its own.
std::string messageFileContent(const S_smsRecordRx& record);

// What became of one record.
struct sSmsOutcome {
    S_smsRecordRx record;
    std::string path;
    bool written = false;
};

// Writes the queue to files of /recv/ and /recv_parts/ and empties it. The names contain the second
// and a counter that starts at 1 with every call, so a second batch within the same second replaces
// the first. The journal of a message that was written is deleted.
std::vector<sSmsOutcome> writeSmsBatch(tSmsQueue& queue, const std::string& root);
// The same; the number of files written.
unsigned writeSmsMessages(tSmsQueue& queue, const std::string& root);

// Waits once for the next second if a name that writeSmsBatch would use now is taken.
void waitForFreeNames(const tSmsQueue& queue, const std::string& root);

// Whether /recv/ has a file with exactly the content of this message.
bool isInRecv(const S_smsRecordRx& record, const std::string& root);

// Reads number and text of a file in /send/. number gets only the 5 to 50 digits; a leading "+" is
// remembered for isInternationalNumber. False, with the cause in the log, if the file is not
// usable; links are not followed.
bool parseSmsFile(const std::string& path, std::string& number, std::string& message);

// Whether the last file parsed had this number with a leading "+".
bool isInternationalNumber(const std::string& number);

// Replaces every byte from 0x80 up by '?'. True when there was one.
bool stripNonLatinBasic(std::string& text);

#endif
