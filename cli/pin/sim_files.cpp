#include "cli/pin/sim_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "cli/base/draft_file.h"
#include "cli/base/system_failure.h"
#include "cli/pin/pin_format.h"

namespace {

constexpr const char* FOLDER = "/etc/vuk";
constexpr mode_t SECRET_MODE = 0600;
constexpr size_t READ_MAX = 16;  // what the daemon reads

std::string slotFile(const char* name, int slot) {
    return std::string(FOLDER) + "/" + name + std::to_string(slot);
}

}  // namespace

std::string pinFilePath(int slot) {
    return slotFile("cellular_cpin.", slot);
}

std::string pinRequestPath(int slot) {
    return slotFile("cellular_cpin_new.", slot);
}

std::string pukFilePath(int slot) {
    return slotFile("cellular_puk.", slot);
}

void writeSimFile(const sPlaces& places, const std::string& path, const char* data, size_t size) {
    cDraftFile draft(places.at(FOLDER), SECRET_MODE);
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
    for (size_t i = 0; i < READ_MAX && read(file, &c, 1) == 1; ++i)
        if (c != ' ' && (c < '\t' || c > '\r')) pin.add(c);
    close(file);
    return isPin(pin);
}

bool isEmptied(const sPlaces& places, const std::string& path) {
    struct stat info {};
    return lstat(places.at(path).c_str(), &info) != 0 || info.st_size == 0;
}
