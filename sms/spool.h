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

// The spool: a root folder with six folders (published/sms_spool.h). Other programs add and remove
// files, so every name and every entry is checked before it is used.

extern cTimer g_C_deleteOldSmsFiles;               // until the next sweep
extern std::unique_ptr<cTimer> g_Cp_CheckSMS;      // until the next check
extern std::unique_ptr<cTimer> g_Cp_DelaySendSMS;  // from a failed attempt to the next

// For tests: the timers as before initSMS.
void resetSmsTimers();

// Creates the folders that are missing. Returns how many are still missing afterwards. A link in
// the place of a folder counts as missing, because somebody else decides where it leads. If the
// root is a link, nothing is created.
uint8_t makeSmsDirs(const std::string& root);

// Logs a warning if the root is a link or belongs to another user, who could then read, change and
// forge messages.
void warnAboutForeignSpool(const std::string& root);

// Deletes message files that nobody took within a day. Runs at most every 15 minutes.
void cleanUpSmSFiles(const std::string& root);
void deleteOldSmSFiles(const std::string& dir);

// Whether the root exists and is not a link; whether a folder and its root both do.
bool isSpoolRoot(const std::string& root);
bool isSpoolDir(const std::string& dir);

// The names in the root or in a folder of the spool, as readFilesInDir. Returns ELOOP if one of
// them is a link.
int listSpoolRoot(const std::string& root, std::vector<std::string>& names);
int listSpoolDir(const std::string& dir, std::vector<std::string>& names);
// The same without temporary files, which are still being written.
int listSpoolFiles(const std::string& dir, std::vector<std::string>& names);

// Deletes the temporary files that a kill left in the root and its folders.
void removeTemporaryFiles(const std::string& root);

// Distinguishes a file from an earlier file of the same name, and from itself before a change. The
// comparison ignores the mode: a chmod does not make another message.
struct sFileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    mode_t mode = 0;
    off_t size = 0;
    int64_t modifiedNs = 0;
};

bool operator==(const sFileIdentity& a, const sFileIdentity& b);

// The same file, though it may have changed. The system reuses an inode number only after the file
// was deleted and all have closed it.
bool isSameFile(const sFileIdentity& a, const sFileIdentity& b);

// Without following a link. False when there is no such entry.
bool identifyFile(const std::string& path, sFileIdentity& identity);
bool isRegularFile(const sFileIdentity& identity);

// Renames a file. If the target folder is another file system, copies the file so that it appears
// there complete; the old file then still exists.
bool moveOrCopyFile(const std::string& from, const std::string& to);

// A text from outside for a log line or one line of a file: control characters become '_'.
std::string oneLineText(const std::string& text);
// The same for a part of a file name: a '/' becomes '_' as well.
std::string fileNameText(const std::string& text);

// A hidden file of this daemon in the root. Daemons of other modem slots use the same spool.
std::string ownSpoolFile(const std::string& root, const std::string& name);

#endif
