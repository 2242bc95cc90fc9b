#include "include/temporary_files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ctime>

#include "include/debug.h"
#include "platform/include/file_vector.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr time_t LEFT_AFTER_S = 60;

constexpr size_t RANDOM_PART_LENGTH = 6;
constexpr const char* RANDOM_PART_LETTERS =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

// ".cellslot-tmp-a1B2c3": the prefix and what mkstemp puts in place of "XXXXXX".
bool isTemporaryName(const std::string& name) {
    const std::string prefix = cFileVector::TEMPORARY_NAME_PREFIX;
    return startsWith(name, prefix) && name.size() == prefix.size() + RANDOM_PART_LENGTH &&
           name.find_first_not_of(RANDOM_PART_LETTERS, prefix.size()) == std::string::npos;
}

// A link is never old, whatever it points to.
bool isOldFile(int folder, const char* name, time_t now) {
    struct stat info;
    return fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(info.st_mode) &&
           now - info.st_mtime > LEFT_AFTER_S;
}

}  // namespace

// Entry by entry, because any user can create any number of files in /tmp.
void removeLeftTemporaryFiles(const std::string& folder) {
    DIR* entries = opendir(folder.c_str());
    if (entries == nullptr) return;
    const int fd = dirfd(entries);
    const time_t now = time(nullptr);
    while (const dirent* entry = readdir(entries)) {
        const char* name = entry->d_name;
        if (!isTemporaryName(name) || !isOldFile(fd, name, now)) continue;
        if (unlinkat(fd, name, 0) == 0)
            debug(eLOG_NOTICE, g_i_debugMode, "Removed %s/%s, left by a write that was interrupted",
                  folder.c_str(), name);
    }
    closedir(entries);
}
