#ifndef SMS_SMS_MEMORY_H
#define SMS_SMS_MEMORY_H

#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "sms/sms_records.h"

// A group of parts that gave no message.
struct sGroupTry {
    // The signature of its files at that time; with other files the group is tried again.
    std::optional<uint64_t> failedFiles;
    bool isReported = false;  // the log says that parts are missing
};

// All that the SMS gateway keeps in memory between calls. Each member has one owner, the only file
// that changes it, and ends as stated; all end with the process. What has to outlive the process is
// in files of the spool's root: the listing marker, the prompt marker and the journals.
struct sSmsMemory {
    // listing_marker.cpp: the modem may have messages that are marked as read and in no file.
    // Until all of them are in files; meant for the case that somebody removed the marker file.
    bool isListingOpen = false;
    // listing_marker.cpp: the disk has the mark of this run, or cannot be written. With the
    // process.
    bool isHostNoted = false;

    // open_prompt.cpp: an earlier process left a marker, the modem may wait at a prompt.
    // Until ESC was sent.
    bool mayPromptBeOpen = false;

    // receive.cpp: messages that are in files while the modem still has them; a listing of the read
    // messages returns them again. Until the modem has deleted them.
    std::vector<S_smsRecordRx> listed;

    // part_file.cpp: the part files as they were read, by path. Until a check in which the file is
    // not seen; partCheck counts the checks.
    std::unordered_map<std::string, sPartFile> partFiles;
    uint64_t partCheck = 0;

    // assembly.cpp: groups of parts that gave no message. Until no file of the group is left.
    std::map<sPartGroup, sGroupTry> triedGroups;

    // stuck_files.cpp: files that are done with but could not be deleted, by path. Until the file
    // is gone or has changed.
    std::map<std::string, sFileIdentity> stuckFiles;

    // send.cpp: /send/ since the first call; the file last read, until it was sent or /send/ is
    // empty; the failures of that file, until it was sent, given up or another one is read.
    std::string sendDir;
    std::string sendPath;
    int sendFailures = 0;

    // message_file.cpp: the number of the send file last parsed if it was written with a "+".
    // Until the next file is parsed.
    std::string internationalNumber;
};

extern sSmsMemory g_smsMemory;

// As in a process that has just started.
void resetSmsMemory();

#endif
