#include "sms/stuck_files.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "include/debug.h"
#include "sms/sms_memory.h"

namespace {

// Files that others have deleted since must not stay in the memory.
void forgetGoneFiles() {
    auto& stuck = g_smsMemory.stuckFiles;
    sFileIdentity identity;
    for (auto file = stuck.begin(); file != stuck.end();)
        file = identifyFile(file->first, identity) ? std::next(file) : stuck.erase(file);
}

}  // namespace

bool deleteSmsFile(const std::string& path) {
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return true;
    debug(eLOG_NOTICE, g_i_debugMode, "Error: Cannot delete SMS file %s, errno %d (%s)",
          oneLineText(path).c_str(), errno, strerror(errno));
    return false;
}

void noteStuckFile(const std::string& path, const sFileIdentity& identity) {
    forgetGoneFiles();
    g_smsMemory.stuckFiles[path] = identity;
}

bool isStuckFile(const std::string& path, const sFileIdentity& identity) {
    const auto stuck = g_smsMemory.stuckFiles.find(path);
    if (stuck == g_smsMemory.stuckFiles.end()) return false;
    if (stuck->second == identity) return true;
    g_smsMemory.stuckFiles.erase(stuck);
    return false;
}
