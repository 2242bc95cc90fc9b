#ifndef SMS_PART_FILE_H
#define SMS_PART_FILE_H

#include <cstdint>
#include <string>

#include "sms/spool.h"

// The part files of /recv_parts/. They are looked at in every check, so a file is read again only
// when it has changed, or could not be read.

struct S_partsFileAttributes {
    std::string fileName;  // full path
    std::string from;      // digits only
    std::string time;
    std::string message;
    uint32_t timeUnformatted = 0;
    int32_t msgId = 0;
    int32_t partTotal = 0;
    int32_t partNumber = 0;
};

struct sPartFile {
    S_partsFileAttributes attributes;
    std::string fromAsWritten;
    sFileIdentity identity;
    // Where it could not be, what it holds is not known: nothing above counts.
    bool isRead = false;
    // Its message was taken, but the file could not be removed: it is as good as gone.
    bool taken = false;
    uint64_t lastLookedAt = 0;
};

// A part file, nullptr when there is none of that name. Valid until the next look at a part file.
const sPartFile* lookAtPartFile(const std::string& path);

// Deletes the file. Where that fails it counts as taken from now on.
void removePartFile(const std::string& path);

// Around a check: what was not looked at in between is forgotten.
void beginPartCheck();
void endPartCheck();

void resetPartFileState();

#endif
