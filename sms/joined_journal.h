#ifndef SMS_JOINED_JOURNAL_H
#define SMS_JOINED_JOURNAL_H

#include <string>
#include <vector>

#include "sms/message_file.h"

// The parts of a message are deleted before /recv/ has it. For that time the message is in a
// journal file in the spool's root, so that a kill in between does not lose it. A journal names the
// part files, lest they be joined a second time.

// Writes the journal of a message made from the part files in paths, and notes it in the record.
// False when it could not be written.
bool writeJournal(S_smsRecordRx& record, const std::vector<std::string>& paths,
                  const std::string& root);

// Appends the messages of all journals that stand, after removing their part files.
void takeJournals(tSmsQueue& queue, const std::string& root);

#endif
