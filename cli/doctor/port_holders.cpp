#include "cli/doctor/port_holders.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <fstream>

#include "cli/doctor/slot_setup.h"
#include "include/utilities.h"
#include "platform/include/text_helpers.h"

namespace {

constexpr unsigned TERMINAL_MAJOR_FIRST = 136;  // slaves of pseudo-terminals, as Linux numbers them
constexpr unsigned TERMINAL_MAJOR_LAST = 143;
constexpr const char* SERVED_TERMINAL = "tty-index:";

// Without a request to a file server: one that does not answer would block for ever.
bool lookAt(const std::string& path, struct statx& info) {
    return statx(AT_FDCWD, path.c_str(), AT_STATX_DONT_SYNC, STATX_BASIC_STATS, &info) == 0;
}

bool isSameFile(const struct statx& a, const struct statx& b) {
    return a.stx_dev_major == b.stx_dev_major && a.stx_dev_minor == b.stx_dev_minor &&
           a.stx_ino == b.stx_ino;
}

bool isSameNumber(const struct statx& a, const struct statx& b) {
    return S_ISCHR(a.stx_mode) && S_ISCHR(b.stx_mode) && a.stx_rdev_major == b.stx_rdev_major &&
           a.stx_rdev_minor == b.stx_rdev_minor;
}

bool isPseudoTerminal(const struct statx& info) {
    return S_ISCHR(info.stx_mode) && info.stx_rdev_major >= TERMINAL_MAJOR_FIRST &&
           info.stx_rdev_major <= TERMINAL_MAJOR_LAST;
}

// A device number identifies one device on the whole host, whichever node opened it. Only
// pseudo-terminals have numbers per devpts file system, and so per container.
bool isSamePort(const struct statx& a, const struct statx& b) {
    return isSameFile(a, b) || (isSameNumber(a, b) && !isPseudoTerminal(a));
}

// The number of the terminal whose serving end the descriptor is; -1 if it is not one.
int servedTerminal(const std::string& process, const std::string& descriptor) {
    std::ifstream file(process + "/fdinfo/" + descriptor);
    for (std::string line; std::getline(file, line);)
        if (startsWith(line, SERVED_TERMINAL))
            return textToInt(
                cleanBeginEndWhiteSpace(line.substr(std::string(SERVED_TERMINAL).size())));
    return -1;
}

bool isHeldBy(const std::string& process, const struct statx& port) {
    std::vector<std::string> descriptors;
    if (readFilesInDir(process + "/fd", descriptors) != 0) return false;
    const bool isOpen = std::any_of(descriptors.begin(), descriptors.end(), [&](const auto& name) {
        struct statx info {};
        return lookAt(process + "/fd/" + name, info) && isSamePort(info, port);
    });
    if (!isOpen || !isPseudoTerminal(port)) return isOpen;
    const int terminal = static_cast<int>(port.stx_rdev_minor);
    return std::none_of(descriptors.begin(), descriptors.end(), [&](const auto& name) {
        return servedTerminal(process, name) == terminal;
    });
}

}  // namespace

std::vector<int> portHolders(const sPlaces& places, const std::string& device) {
    std::vector<int> holders;
    struct statx port {};
    if (!lookAt(places.at(device), port)) return holders;
    for (const int pid : allPids(places))
        if (isHeldBy(places.at("/proc/" + std::to_string(pid)), port)) holders.push_back(pid);
    return holders;
}
