#ifndef CLI_BASE_DAEMON_LOG_H
#define CLI_BASE_DAEMON_LOG_H

#include <ctime>
#include <string>
#include <vector>

#include "cli/base/places.h"

// What a daemon says in the system log from now on. Why a message could not be sent is only there.
// Read from the log files that the host's syslog daemon writes; when they say nothing, from the
// journal.
class cDaemonLog {
  public:
    cDaemonLog(const sPlaces& places, int pid);

    // Whether there is a log that this user may read.
    bool isReadable() const;

    // The daemon's messages since this object was made, without time and name. Empty also where
    // the log cannot be read.
    std::vector<std::string> messages() const;

    // Whether one of the messages holds the text.
    bool has(const std::string& text) const;
    // The last message that holds one of the texts, "" when none does.
    std::string last(const std::vector<std::string>& texts) const;

  private:
    struct sLogFile {
        std::string path;
        long long start;  // its size when this object was made
    };

    bool isJournalReadable() const;
    void readFile(const sLogFile& file, std::vector<std::string>& found) const;
    std::vector<std::string> fromJournal() const;

    std::vector<sLogFile> m_files;  // those that can be read
    std::string m_journal;          // the socket of the journal, where the host has one
    time_t m_since;
    int m_pid;
};

#endif
