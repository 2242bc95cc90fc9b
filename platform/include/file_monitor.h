#ifndef PLATFORM_INCLUDE_FILE_MONITOR_H
#define PLATFORM_INCLUDE_FILE_MONITOR_H

#include <memory>
#include <string>

// Detects whether a file was written since it was last processed. It watches the name, not the
// inode, so a file that an editor or an agent replaces by rename counts as changed too.
class cFileMonitor {
  public:
    static constexpr int STATUS_UNCHANGED = 0;
    static constexpr int STATUS_CHANGED = 2;

    cFileMonitor();
    ~cFileMonitor();
    cFileMonitor(const cFileMonitor&) = delete;
    cFileMonitor& operator=(const cFileMonitor&) = delete;

    // Starts to watch path; a file that exists now counts as changed. The two numbers are for the
    // gateway's library and are ignored here. Returns 0. A folder that does not exist (yet) is no
    // error; the file is then checked on every call.
    int imonitorInit(const std::string& path, int flags, int depth);

    // STATUS_CHANGED if the file was created, written, replaced or touched since imonitorInit or
    // since the last ProcessingFile(false). A deletion, a chmod or a chown is no change.
    int GetFileStatus();

    // true: processing begins. false: processing ends; all earlier changes of the file count as
    // seen. false without an earlier true does nothing.
    void ProcessingFile(bool begins);

  private:
    struct sState;
    std::unique_ptr<sState> m_state;
};

#endif
