#include "platform/files/make_folder.h"

#include <sys/stat.h>

#include <cerrno>

bool makeFolder(const std::string& path, mode_t mode) {
    for (size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string part = path.substr(0, end);
        // chmod, because the umask may have removed bits.
        if (mkdir(part.c_str(), mode) == 0) {
            if (chmod(part.c_str(), mode) != 0) return false;
        } else if (errno != EEXIST) {
            return false;
        }
        if (end == std::string::npos) break;
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) return false;
    if (S_ISDIR(status.st_mode)) return true;
    errno = ENOTDIR;
    return false;
}

bool makeFolderOf(const std::string& filePath, mode_t mode) {
    const size_t slash = filePath.rfind('/');
    if (slash == std::string::npos || slash == 0) return true;
    return makeFolder(filePath.substr(0, slash), mode);
}
