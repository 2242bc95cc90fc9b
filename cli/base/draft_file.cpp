#include "cli/base/draft_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "cli/base/failure.h"
#include "cli/base/system_failure.h"
#include "platform/include/file_vector.h"

cDraftFile::cDraftFile(const std::string& folder, mode_t mode)
    : m_path(folder + "/" + cFileVector::TEMPORARY_NAME_PREFIX + "XXXXXX") {
    m_file = mkostemp(m_path.data(), O_CLOEXEC);
    if (m_file < 0 && errno == ENOENT)
        throw cFailure(eExitStatus::FAILED, "the folder " + folder + " does not exist; create it");
    if (m_file < 0) throw systemFailure("create a file in " + folder, errno);
    if (fchmod(m_file, mode) == 0) return;
    const int error = errno;
    close(m_file);
    unlink(m_path.c_str());
    throw systemFailure("create a file in " + folder, error);
}

cDraftFile::~cDraftFile() {
    close(m_file);
    if (!m_path.empty()) unlink(m_path.c_str());
}

void cDraftFile::write(const char* data, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t count = ::write(m_file, data + done, size - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw systemFailure("write " + m_path, errno);
        done += static_cast<size_t>(count);
    }
    if (fsync(m_file) != 0) throw systemFailure("write " + m_path, errno);
}

void cDraftFile::describe(struct stat& info) const {
    if (fstat(m_file, &info) != 0) throw systemFailure("access " + m_path, errno);
}

void cDraftFile::replace(const std::string& path) {
    if (rename(m_path.c_str(), path.c_str()) != 0) throw systemFailure("write " + path, errno);
    m_path.clear();
    // The new name survives a power cut only if the folder is written to the disk too.
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const int handle = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (handle < 0) return;
    fsync(handle);
    close(handle);
}

bool cDraftFile::putWhereFree(const std::string& path) {
    if (link(m_path.c_str(), path.c_str()) == 0) return true;
    if (errno == EEXIST) return false;
    throw systemFailure("write " + path, errno);
}

void replaceFile(const std::string& path, const std::string& text, mode_t mode) {
    const size_t slash = path.rfind('/');
    cDraftFile draft(slash == std::string::npos ? "." : path.substr(0, slash + 1), mode);
    draft.write(text);
    draft.replace(path);
}
