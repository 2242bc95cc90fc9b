#include "platform/include/file_monitor.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/files/file_descriptor.h"

namespace {

// What distinguishes two states of a file. ctime is left out because a chmod does not change the
// content.
struct sSignature {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    int64_t modifiedS = 0;
    int64_t modifiedNs = 0;

    bool operator==(const sSignature& other) const {
        return exists == other.exists && device == other.device && inode == other.inode &&
               size == other.size && modifiedS == other.modifiedS && modifiedNs == other.modifiedNs;
    }
};

sSignature signatureOf(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return {true,           status.st_dev,         status.st_ino,
            status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

// The events on a folder that concern one name in it. The signature decides whether a file changed;
// the events add what it cannot show: new content of the same length within one tick of the file
// system's clock, or with a time stamp that was set back.
class cFolderWatch {
  public:
    void start(const std::string& path);
    // Whether the file was written or moved here since the last call.
    bool drain();

  private:
    void follow();
    void stop();
    bool readEvents();

    std::string m_folder;
    std::string m_name;
    cFileDescriptor m_inotify;
    int m_watch = -1;
    dev_t m_device = 0;
    ino_t m_inode = 0;
};

constexpr uint32_t WATCHED_EVENTS = IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_MOVED_TO;

void cFolderWatch::start(const std::string& path) {
    stop();
    const size_t slash = path.rfind('/');
    m_folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    m_name = slash == std::string::npos ? path : path.substr(slash + 1);
    follow();
}

void cFolderWatch::stop() {
    if (m_watch >= 0) inotify_rm_watch(m_inotify.get(), m_watch);
    m_watch = -1;
}

// Watches the folder that has the name now, which may be another one than at the last call. Without
// a folder, or without inotify, only the signature is used.
void cFolderWatch::follow() {
    struct stat status {};
    if (stat(m_folder.c_str(), &status) != 0) return stop();
    if (m_watch >= 0 && status.st_dev == m_device && status.st_ino == m_inode) return;
    stop();
    if (!m_inotify.isOpen()) m_inotify.reset(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    if (!m_inotify.isOpen()) return;
    m_watch = inotify_add_watch(m_inotify.get(), m_folder.c_str(), WATCHED_EVENTS | IN_ONLYDIR);
    m_device = status.st_dev;
    m_inode = status.st_ino;
}

bool cFolderWatch::drain() {
    const bool touched = readEvents();
    follow();
    return touched;
}

bool cFolderWatch::readEvents() {
    if (!m_inotify.isOpen()) return false;
    bool touched = false;
    char buffer[16 * (sizeof(inotify_event) + NAME_MAX + 1)];
    ssize_t length;
    while ((length = read(m_inotify.get(), buffer, sizeof buffer)) > 0) {
        for (const char* at = buffer; at < buffer + length;) {
            inotify_event event{};
            memcpy(&event, at, offsetof(inotify_event, name));
            const char* const name = at + offsetof(inotify_event, name);
            at = name + event.len;
            // An event of a folder that is no longer watched, or a queue overflow. What an overflow
            // loses, the signature shows.
            if (event.wd != m_watch) continue;
            if ((event.mask & IN_IGNORED) != 0) m_watch = -1;
            if (event.len != 0 && m_name == name) touched = true;
        }
    }
    return touched;
}

}  // namespace

struct cFileMonitor::sState {
    std::string path;
    cFolderWatch watch;
    sSignature seen;       // the file when it was last processed or found missing
    bool touched = false;  // an event has come since then
    bool processing = false;
};

cFileMonitor::cFileMonitor() : m_state(std::make_unique<sState>()) {}

cFileMonitor::~cFileMonitor() = default;

int cFileMonitor::imonitorInit(const std::string& path, int /*flags*/, int /*depth*/) {
    m_state = std::make_unique<sState>();
    m_state->path = path;
    m_state->watch.start(path);
    return 0;
}

int cFileMonitor::GetFileStatus() {
    if (m_state->path.empty()) return STATUS_UNCHANGED;
    if (m_state->watch.drain()) m_state->touched = true;
    const sSignature now = signatureOf(m_state->path);
    if (!now.exists) {
        // Noted so that the same file counts as new if it comes back.
        m_state->seen = now;
        m_state->touched = false;
        return STATUS_UNCHANGED;
    }
    return m_state->touched || !(now == m_state->seen) ? STATUS_CHANGED : STATUS_UNCHANGED;
}

void cFileMonitor::ProcessingFile(bool begins) {
    if (begins) {
        m_state->processing = true;
        return;
    }
    if (!m_state->processing) return;
    m_state->processing = false;
    // The events first, so that a change between the two calls is reported and not lost.
    m_state->watch.drain();
    m_state->seen = signatureOf(m_state->path);
    m_state->touched = false;
}
