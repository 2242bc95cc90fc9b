#ifndef SMS_SPOOL_H
#define SMS_SPOOL_H

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/include/timer.h"
#include "published/sms_spool.h"

// Root of the spool, SMS_SPOOL_ROOT. Only tests change it.
extern std::string g_s_root_sms_path;

// The spool: a root folder with six folders below (published/sms_spool.h). Other programs put files
// in and take files out, so every name and every entry found there is checked before it is used.

extern cTimer g_C_deleteOldSmsFiles;               // until the next sweep
extern std::unique_ptr<cTimer> g_Cp_CheckSMS;      // until the next check
extern std::unique_ptr<cTimer> g_Cp_DelaySendSMS;  // from a failed attempt to the next

// For tests: the timers as before initSMS.
void resetSmsTimers();

// Creates the folders that are missing. Returns how many are not there afterwards; a link in the
// place of one counts, since somebody else decides where it leads. Below a root that is a link
// nothing is created.
uint8_t makeSmsDirs(const std::string& root);

// Says so in the log when the root is a link or belongs to somebody else, who then can read,
// change and forge messages.
void warnAboutForeignSpool(const std::string& root);

// Deletes message files that nobody took for a day, at most every 15 minutes.
void cleanUpSmSFiles(const std::string& root);
void deleteOldSmSFiles(const std::string& dir);

// Whether the root, or a folder with the root above it, is there and no link.
bool isSpoolRoot(const std::string& root);
bool isSpoolDir(const std::string& dir);

// The names in the root, or in a folder of the spool, as readFilesInDir. A link in the place of
// either is refused with ELOOP.
int listSpoolRoot(const std::string& root, std::vector<std::string>& names);
int listSpoolDir(const std::string& dir, std::vector<std::string>& names);
// The same without temporary files, which are still being written.
int listSpoolFiles(const std::string& dir, std::vector<std::string>& names);

// Deletes what a kill left of files that were being written, in the root and its folders.
void removeTemporaryFiles(const std::string& root);

// What tells a file from the one that had its name before, and from itself before a change. Its
// rights may change without its being another message.
struct sFileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    mode_t mode = 0;
    off_t size = 0;
    int64_t modifiedNs = 0;
};

bool operator==(const sFileIdentity& a, const sFileIdentity& b);

// The same file, though it may have changed. A number is given again only after its file was
// deleted and closed by all.
bool isSameFile(const sFileIdentity& a, const sFileIdentity& b);

// Without following a link. False when there is no such entry.
bool identifyFile(const std::string& path, sFileIdentity& identity);
bool isRegularFile(const sFileIdentity& identity);

// Renames a file; into a folder that is a mount of its own, copies it so that it appears there
// whole. The old one is then still there.
bool moveOrCopyFile(const std::string& from, const std::string& to);

// A text of somebody else for a log line or one line of a file: control characters become '_'.
std::string oneLineText(const std::string& text);
// The same for a part of a file name: a '/' becomes '_' as well.
std::string fileNameText(const std::string& text);

// A hidden file of this daemon in the root. Daemons of other modem slots use the same spool.
std::string ownSpoolFile(const std::string& root, const std::string& name);

#endif
