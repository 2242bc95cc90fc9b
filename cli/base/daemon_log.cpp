#include "cli/base/daemon_log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>

#include "published/installation.h"

namespace {

// Where syslog daemons write: the file of our rsyslog rule; busybox and rsyslog of other systems;
// rsyslog of Debian. A line may be in several.
const char* const LOG_FILES[] = {DAEMON_LOG_FILE, "/var/log/messages", "/var/log/syslog"};

constexpr const char* JOURNAL = "/run/systemd/journal/socket";

long long sizeOf(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) ? info.st_size : 0;
}

std::string trimmedLineEnd(std::string line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    return line;
}

}  // namespace

cDaemonLog::cDaemonLog(const sPlaces& places, int pid)
    : m_journal(places.at(JOURNAL)), m_since(time(nullptr)), m_pid(pid) {
    for (const char* file : LOG_FILES) {
        const std::string path = places.at(file);
        if (access(path.c_str(), R_OK) == 0) m_files.push_back({path, sizeOf(path)});
    }
}

bool cDaemonLog::isReadable() const {
    return !m_files.empty() || isJournalReadable();
}

// For users without permission, the journal seems to be empty.
bool cDaemonLog::isJournalReadable() const {
    return geteuid() == 0 && access(m_journal.c_str(), F_OK) == 0;
}

std::vector<std::string> cDaemonLog::messages() const {
    std::vector<std::string> found;
    for (const sLogFile& file : m_files)
        readFile(file, found);
    // A file may be left over from a syslog daemon that no longer runs.
    return found.empty() && isJournalReadable() ? fromJournal() : found;
}

bool cDaemonLog::has(const std::string& text) const {
    return !last({text}).empty();
}

std::string cDaemonLog::last(const std::vector<std::string>& texts) const {
    const std::vector<std::string> all = messages();
    const auto found = std::find_if(all.rbegin(), all.rend(), [&](const std::string& message) {
        return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
            return message.find(text) != std::string::npos;
        });
    });
    return found == all.rend() ? "" : *found;
}

void cDaemonLog::readFile(const sLogFile& logFile, std::vector<std::string>& found) const {
    std::ifstream file(logFile.path);
    // A smaller file is a new one: the log was rotated.
    file.seekg(sizeOf(logFile.path) < logFile.start ? 0 : logFile.start);
    const std::string tag = "[" + std::to_string(m_pid) + "]: ";
    for (std::string line; std::getline(file, line);) {
        const size_t at = line.find(tag);
        if (at != std::string::npos) found.push_back(trimmedLineEnd(line.substr(at + tag.size())));
    }
}

// Only two numbers go into the command.
std::vector<std::string> cDaemonLog::fromJournal() const {
    const std::string command = "journalctl -q --no-pager -o cat --since=@" +
                                std::to_string(m_since) + " _PID=" + std::to_string(m_pid) +
                                " 2>/dev/null";
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::vector<std::string> found;
    if (!pipe) return found;
    std::array<char, 4096> line{};
    while (fgets(line.data(), line.size(), pipe.get()) != nullptr)
        found.push_back(trimmedLineEnd(line.data()));
    return found;
}
