#ifndef SMS_PART_FILE_H
#define SMS_PART_FILE_H

#include <string>

#include "sms/sms_records.h"

// The part files of /recv_parts/. Every check looks at all of them, so a file is read again only
// when it has changed, or could not be read.

// The part file of this path. nullptr when there is none, or when its message was already taken and
// only the file could not be deleted. Valid until the next look at a part file.
const sPartFile* lookAtPartFile(const std::string& path);

// Deletes the file. If that fails, the file does not count any more.
void removePartFile(const std::string& path);

// Around a check: the records of files that it did not look at are dropped.
void beginPartCheck();
void endPartCheck();

#endif
