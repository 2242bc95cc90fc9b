#include "cli/pin/sim_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/draft_file.h"
#include "cli/base/system_failure.h"
#include "cli/pin/pin_format.h"

namespace {

constexpr mode_t SECRET_MODE = 0600;

}  // namespace

void writeSimFile(const sPlaces& places, const std::string& path, const char* data, size_t size) {
    cDraftFile draft(places.at(SETTINGS_FOLDER), SECRET_MODE);
    draft.write(data, size);
    draft.replace(places.at(path));
}

bool hasUsablePin(const sPlaces& places, int slot) {
    const std::string path = places.at(pinFilePath(slot));
    const int file = open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (file < 0 && errno == EACCES) throw systemFailure("read " + path, errno);
    if (file < 0) return false;
    cSecret pin;
    char c = 0;
    for (size_t i = 0; i < PIN_FILE_MAX && read(file, &c, 1) == 1; ++i)
        if (c != ' ' && (c < '\t' || c > '\r')) pin.add(c);
    close(file);
    return isPin(pin);
}

bool isEmptied(const sPlaces& places, const std::string& path) {
    struct stat info {};
    return lstat(places.at(path).c_str(), &info) != 0 || info.st_size == 0;
}
