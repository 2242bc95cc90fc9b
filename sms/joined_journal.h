#ifndef SMS_JOINED_JOURNAL_H
#define SMS_JOINED_JOURNAL_H

#include <string>
#include <vector>

#include "sms/message_file.h"

// The parts of a message are deleted before /recv/ has the message. Meanwhile a journal file in the
// spool's root holds it, so that a kill does not lose it. The journal also names the part files, so
// that they are not joined a second time.

// Writes the journal of a message that was joined from the part files in paths, and stores the
// journal's name in the record. False when it could not be written.
bool writeJournal(S_smsRecordRx& record, const std::vector<std::string>& paths,
                  const std::string& root);

// Removes the part files that the existing journals name, and appends the journals' messages.
void takeJournals(tSmsQueue& queue, const std::string& root);

#endif
