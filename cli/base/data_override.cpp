#include "cli/base/data_override.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "published/paths.h"

namespace {

void removeOverride(const std::string& path) {
    if (unlink(path.c_str()) == 0 || errno == ENOENT) return;
    if (errno == EISDIR)
        throw cFailure(eExitStatus::FAILED, path +
                                                " is a folder, which overrides the configuration "
                                                "like a file; remove it with rmdir");
    throw systemFailure("remove " + path, errno);
}

// To the daemon a link counts only while its target exists, so a regular file replaces it.
void makeOverride(const std::string& path) {
    constexpr int FLAGS = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    struct stat info {};
    if (lstat(path.c_str(), &info) == 0) {
        if (!S_ISLNK(info.st_mode)) return;
        removeOverride(path);
    }
    const int file = open(path.c_str(), FLAGS, 0644);
    if (file < 0) throw systemFailure("create " + path, errno);
    close(file);
}

}  // namespace

eDataOverride dataOverride(const sPlaces& places, int slot) {
    return findOverride(places.at(SHARED_FOLDER), slot);
}

void setDataOverride(const sPlaces& places, int slot, eDataOverride value) {
    const auto pathOf = [&](eDataOverride other) {
        return places.at(overrideFilePath(other, slot));
    };
    if (value != eDataOverride::AUTO) makeOverride(pathOf(value));
    // The weakest first: removing it has no effect while a stronger one exists.
    for (const eDataOverride other :
         {eDataOverride::POWER_OFF, eDataOverride::OFF, eDataOverride::ON})
        if (other != value) removeOverride(pathOf(other));
}
