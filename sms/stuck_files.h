#ifndef SMS_STUCK_FILES_H
#define SMS_STUCK_FILES_H

#include <string>

#include "sms/spool.h"

// A file that is done with, but cannot be deleted: its message must not be sent or delivered again.

// Deletes a file. False, with the cause in the log, when it is still there.
bool deleteSmsFile(const std::string& path);

// Ignore the file of this path for as long as it stays the same.
void noteStuckFile(const std::string& path, const sFileIdentity& identity);

// Whether the file, as it is now, was noted.
bool isStuckFile(const std::string& path, const sFileIdentity& identity);

#endif
