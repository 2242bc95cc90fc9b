#include "fuzz/scratch_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "fuzz/check.h"

namespace {

struct sScratchFolder {
    sScratchFolder() {
        const char* base = getenv("TMPDIR");
        path = std::string(base != nullptr ? base : "/tmp") + "/cellslot-fuzz.XXXXXX";
        check(mkdtemp(path.data()) != nullptr, "a folder can be made below TMPDIR");
    }
    ~sScratchFolder() {
        std::error_code ignored;  // it is a temporary folder
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

}  // namespace

const std::string& scratchFolder() {
    static const sScratchFolder folder;
    return folder.path;
}

void emptyFolder(const std::string& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        std::filesystem::remove_all(entry.path());
}

void writeScratchFile(const std::string& path, const std::string& content) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    check(file != -1 &&
              write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
          "a file can be written", path);
    close(file);
}
