#include "platform/include/logger.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>

#include "platform/files/error_sink.h"
#include "platform/files/file_descriptor.h"
#include "platform/files/make_folder.h"

namespace {

constexpr int MOST_OLD_FILES = 99;
constexpr size_t STAMP_BYTES = 128;
constexpr mode_t FOLDER_MODE = 0755;
constexpr mode_t FILE_MODE = 0600;  // messages may contain a PIN or a password

int openLog(const std::string& path) {
    constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    cFileDescriptor file(open(path.c_str(), FLAGS | O_CLOEXEC, FILE_MODE));
    return releaseRegularFile(file);
}

long long fileSize(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_size : 0;
}

// The format comes from the caller; it is a setting of the log, never text from outside.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string stamp(const std::string& format) {
    const time_t now = time(nullptr);
    struct tm local {};
    if (localtime_r(&now, &local) == nullptr) return "";
    char text[STAMP_BYTES];
    return std::string(text, strftime(text, sizeof text, format.c_str(), &local)) + ' ';
}
#pragma GCC diagnostic pop

std::string withoutControlCharacters(std::string text) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; };
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text;
}

}  // namespace

bool cLogger::LogInit(const std::string& path, int maxKilobytes, int oldFiles,
                      const std::string& timeFormat, bool timestamps) {
    m_path = path;
    m_maxKilobytes = maxKilobytes;
    m_oldFiles = std::min(oldFiles, MOST_OLD_FILES);
    m_timeFormat = timeFormat;
    m_timestamps = timestamps;
    makeFolderOf(path, FOLDER_MODE);  // if this fails, opening the file reports the cause
    const cFileDescriptor file(openLog(path));
    if (!file.isOpen()) logSystemError("open log", path, errno);
    return file.isOpen();
}

bool cLogger::Log(const std::string& message) {
    std::string line = m_timestamps && m_stampNext ? stamp(m_timeFormat) : "";
    line += m_modifyNext ? withoutControlCharacters(message) : message;
    line += '\n';
    m_stampNext = true;
    m_modifyNext = true;

    const long long limit = m_maxKilobytes * 1024LL;
    const long long size = fileSize(m_path);
    const bool isFull = size > 0 && size + static_cast<long long>(line.size()) > limit;
    if (isFull && !rotate()) return false;
    cFileDescriptor file(openLog(m_path));
    if (file.isOpen() && writeAll(file.get(), line)) return true;
    logSystemError("write log", m_path, errno);
    return false;
}

// Moves path.1 to path.2 and so on, and path to path.1; the oldest file is deleted.
bool cLogger::rotate() {
    const auto oldName = [this](int number) {
        return number == 0 ? m_path : m_path + "." + std::to_string(number);
    };
    if (m_oldFiles <= 0 && unlink(m_path.c_str()) != 0) {
        logSystemError("empty log", m_path, errno);
        return false;
    }
    for (int number = m_oldFiles; number > 0; number--) {
        const bool moved = rename(oldName(number - 1).c_str(), oldName(number).c_str()) == 0;
        if (moved || errno == ENOENT) continue;
        logSystemError("put aside log", oldName(number - 1), errno);
        return false;
    }
    return true;
}
