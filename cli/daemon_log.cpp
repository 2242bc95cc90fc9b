#include "cli/daemon_log.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>

namespace {

// Where syslog daemons write: busybox and rsyslog of other systems, rsyslog of Debian.
const char* const LOG_FILES[] = {"/var/log/messages", "/var/log/syslog"};

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
    : m_journal(places.root.empty()), m_since(time(nullptr)), m_pid(pid) {
    for (const char* file : LOG_FILES) {
        const std::string path = places.at(file);
        if (access(path.c_str(), R_OK) != 0) continue;
        m_path = path;
        m_start = sizeOf(path);
        return;
    }
}

// Users who may not read the journal are shown an empty one.
bool cDaemonLog::isReadable() const {
    return !m_path.empty() || (m_journal && geteuid() == 0 && access(JOURNAL, F_OK) == 0);
}

std::vector<std::string> cDaemonLog::messages() const {
    if (!m_path.empty()) return fromFile();
    return isReadable() ? fromJournal() : std::vector<std::string>();
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

std::vector<std::string> cDaemonLog::fromFile() const {
    // A smaller file is another one: the log was rotated.
    const long long start = sizeOf(m_path) < m_start ? 0 : m_start;
    std::ifstream file(m_path);
    file.seekg(start);
    const std::string tag = "[" + std::to_string(m_pid) + "]: ";
    std::vector<std::string> found;
    for (std::string line; std::getline(file, line);) {
        const size_t at = line.find(tag);
        if (at != std::string::npos) found.push_back(trimmedLineEnd(line.substr(at + tag.size())));
    }
    return found;
}

// Two numbers are all that goes into the command.
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
