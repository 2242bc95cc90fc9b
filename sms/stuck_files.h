#ifndef SMS_STUCK_FILES_H
#define SMS_STUCK_FILES_H

#include <string>

#include "sms/spool.h"

// Files that are done with but cannot be deleted. Their messages must not be sent or delivered
// again.

// Deletes a file. False, with the cause in the log, when it is still there.
bool deleteSmsFile(const std::string& path);

// From now on ignores the file of this path, for as long as it does not change.
void noteStuckFile(const std::string& path, const sFileIdentity& identity);

// Whether the file, as it is now, was noted.
bool isStuckFile(const std::string& path, const sFileIdentity& identity);

#endif
