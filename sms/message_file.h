#ifndef SMS_MESSAGE_FILE_H
#define SMS_MESSAGE_FILE_H

#include <string>
#include <vector>

#include "sms/sms_records.h"

// timeUnformatted stays: every decoded message overwrites it.
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

// Empties the queue into files of /recv/ and /recv_parts/. Names have the second and a counter that
// begins at 1 with every call, so a second batch within the second takes the place of the first. A
// message that was written needs its journal no longer, and loses it.
std::vector<sSmsOutcome> writeSmsBatch(tSmsQueue& queue, const std::string& root);
// The same; the number of files written.
unsigned writeSmsMessages(tSmsQueue& queue, const std::string& root);

// Where a name that writeSmsBatch would use now is taken, waits for the next second, once.
void waitForFreeNames(const tSmsQueue& queue, const std::string& root);

// Whether /recv/ holds a file with just the content that this message would have there.
bool isInRecv(const S_smsRecordRx& record, const std::string& root);

// Number and text of a file in /send/. The number has its 5 to 50 digits only; whether it was
// written with a "+" is kept for isInternationalNumber. False, with the cause in the log, for a
// file that is not usable; links are not followed.
bool parseSmsFile(const std::string& path, std::string& number, std::string& message);

// Whether the last file parsed had this number, written with a leading "+".
bool isInternationalNumber(const std::string& number);

// Every byte from 0x80 up becomes '?'. True when there was one.
bool stripNonLatinBasic(std::string& text);

#endif
