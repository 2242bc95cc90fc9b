#include "sms/spool.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "include/debug.h"
#include "include/options.h"
#include "include/repeated_notices.h"
#include "include/temporary_files.h"
#include "include/utilities.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"
#include "sms/wall_clock.h"

std::string g_s_root_sms_path = SMS_SPOOL_ROOT;

namespace {

constexpr unsigned DELETE_OLD_FILES_S = 900;
constexpr unsigned CHECK_S = 5;
constexpr unsigned DELAY_SEND_S = 5;

constexpr long long FILE_AGE_MAX_S = 86400;
constexpr int FILE_AGE_MAX_MIN = FILE_AGE_MAX_S / 60;

constexpr int64_t NS_PER_S = 1000000000;

const char* const ALL_DIRS[] = {SMS_DIR_RECV, SMS_DIR_RECV_PARTS, SMS_DIR_RECV_POST,
                                SMS_DIR_SEND, SMS_DIR_SEND_FAIL,  SMS_DIR_SEND_OK};
const char* const SWEPT_DIRS[] = {SMS_DIR_RECV, SMS_DIR_SEND, SMS_DIR_RECV_PARTS};

// The path without its last slash, with which the system would follow a link.
std::string withoutEndSlash(const std::string& path) {
    const size_t last = path.find_last_not_of('/');
    return last == std::string::npos ? path : path.substr(0, last + 1);
}

// The root of a folder of the spool.
std::string rootOf(const std::string& dir) {
    const std::string path = withoutEndSlash(dir);
    return path.substr(0, path.rfind('/') + 1);
}

bool isLink(const std::string& dir) {
    sFileIdentity identity;
    return identifyFile(withoutEndSlash(dir), identity) && S_ISLNK(identity.mode);
}

void deleteIfOld(const std::string& path, time_t now) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return;
    const long long ageS = static_cast<long long>(now) - info.st_mtime;
    const std::string shown = oneLineText(path);
    debug(eLOG_SMS, g_i_debugMode,
          " deleteOldSmSFiles(): Checking age of SMS file %s, %lld/%lld seconds", shown.c_str(),
          ageS, FILE_AGE_MAX_S);
    if (ageS <= FILE_AGE_MAX_S) return;
    debug(eLOG_NOTICE, g_i_debugMode, "Deleting SMS file '%s', older than %d minutes.",
          shown.c_str(), FILE_AGE_MAX_MIN);
    unlink(path.c_str());  // fails for a folder, which may stay
}

std::string replaced(std::string text, bool (*unwanted)(unsigned char)) {
    std::replace_if(
        text.begin(), text.end(), [&](char c) { return unwanted(static_cast<unsigned char>(c)); },
        '_');
    return text;
}

bool isTemporaryName(const std::string& name) {
    return startsWith(name, cFileVector::TEMPORARY_NAME_PREFIX);
}

bool copyFile(const std::string& from, const std::string& to) {
    sFileIdentity identity;
    std::string content;
    if (!identifyFile(from, identity) || !readFile2StringNoFollow(from, content, SMS_FILE_MAX))
        return false;
    cFileVector file(to, identity.mode & 0777U);
    file.AppendLine(content, false);
    return file.Write();
}

bool isControl(unsigned char byte) {
    return byte < 0x20 || byte == 0x7f;
}

bool isControlOrSlash(unsigned char byte) {
    return isControl(byte) || byte == '/';
}

}  // namespace

cTimer g_C_deleteOldSmsFiles(0, DELETE_OLD_FILES_S);
std::unique_ptr<cTimer> g_Cp_CheckSMS = std::make_unique<cTimer>(0, CHECK_S);
std::unique_ptr<cTimer> g_Cp_DelaySendSMS = std::make_unique<cTimer>(0, DELAY_SEND_S);

void resetSmsTimers() {
    g_C_deleteOldSmsFiles.Stop();
    g_Cp_CheckSMS->Stop();
    g_Cp_DelaySendSMS->Stop();
}

uint8_t makeSmsDirs(const std::string& root) {
    if (isLink(root)) return std::size(ALL_DIRS);
    const std::string base = !root.empty() && root.back() == '/' ? root : root + "/";
    uint8_t failures = 0;
    for (const char* name : ALL_DIRS) {
        const std::string dir = base + (name + 1);
        if (_mkdir(dir) != 0 || isLink(dir)) ++failures;
    }
    return failures;
}

void warnAboutForeignSpool(const std::string& root) {
    struct stat info {};
    if (lstat(withoutEndSlash(root).c_str(), &info) != 0) return;
    if (S_ISLNK(info.st_mode) || info.st_uid != geteuid())
        debug(eLOG_NOTICE, g_i_debugMode,
              "Warning: SMS folder %s is a link or belongs to another user (%u)", root.c_str(),
              static_cast<unsigned>(info.st_uid));
}

void cleanUpSmSFiles(const std::string& root) {
    if (g_C_deleteOldSmsFiles.IsTimerRunning()) return;
    const cRepeatedRun run(eWORK_SMS_SWEEP);
    debug(eLOG_SMS, g_i_debugMode, "%s() running", __func__);
    g_C_deleteOldSmsFiles.Start();
    for (const char* dir : SWEPT_DIRS)
        deleteOldSmSFiles(root + dir);
}

void deleteOldSmSFiles(const std::string& dir) {
    debug(eLOG_SMS, g_i_debugMode, "%s(%s): running", __func__, dir.c_str());
    std::vector<std::string> names;
    const int error = listSpoolDir(dir, names);
    if (error != 0) {
        debug(eLOG_NOTICE, g_i_debugMode, " %s():  Cannot read dir %s, errno %d (%s)", __func__,
              dir.c_str(), error, strerror(error));
        return;
    }
    const time_t now = wallClockNow().tv_sec;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        deleteIfOld(dir + *name, now);
}

bool isSpoolRoot(const std::string& root) {
    sFileIdentity identity;
    return identifyFile(withoutEndSlash(root), identity) && S_ISDIR(identity.mode);
}

bool isSpoolDir(const std::string& dir) {
    return isSpoolRoot(rootOf(dir)) && isSpoolRoot(dir);
}

int listSpoolRoot(const std::string& root, std::vector<std::string>& names) {
    names.clear();
    return isLink(root) ? ELOOP : readFilesInDir(root, names);
}

int listSpoolDir(const std::string& dir, std::vector<std::string>& names) {
    names.clear();
    return isLink(rootOf(dir)) ? ELOOP : listSpoolRoot(dir, names);
}

int listSpoolFiles(const std::string& dir, std::vector<std::string>& names) {
    const int error = listSpoolDir(dir, names);
    names.erase(std::remove_if(names.begin(), names.end(), isTemporaryName), names.end());
    return error;
}

void removeTemporaryFiles(const std::string& root) {
    if (!isSpoolRoot(root)) return;
    removeLeftTemporaryFiles(root);
    for (const char* dir : ALL_DIRS)
        if (!isLink(root + dir)) removeLeftTemporaryFiles(root + dir);
}

bool operator==(const sFileIdentity& a, const sFileIdentity& b) {
    return isSameFile(a, b) && a.size == b.size && a.modifiedNs == b.modifiedNs;
}

bool isSameFile(const sFileIdentity& a, const sFileIdentity& b) {
    return a.device == b.device && a.inode == b.inode;
}

bool identifyFile(const std::string& path, sFileIdentity& identity) {
    struct stat info {};
    if (lstat(path.c_str(), &info) != 0) return false;
    identity.device = info.st_dev;
    identity.inode = info.st_ino;
    identity.mode = info.st_mode;
    identity.size = info.st_size;
    identity.modifiedNs = info.st_mtim.tv_sec * NS_PER_S + info.st_mtim.tv_nsec;
    return true;
}

bool isRegularFile(const sFileIdentity& identity) {
    return S_ISREG(identity.mode);
}

bool moveOrCopyFile(const std::string& from, const std::string& to) {
    if (rename(from.c_str(), to.c_str()) == 0) return true;
    return errno == EXDEV && copyFile(from, to);
}

std::string oneLineText(const std::string& text) {
    return replaced(text, isControl);
}

std::string fileNameText(const std::string& text) {
    return replaced(text, isControlOrSlash);
}

std::string ownSpoolFile(const std::string& root, const std::string& name) {
    return root + "/.cellslot-" + name + "." + g_S_options.s_port;
}
