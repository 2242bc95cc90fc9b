#ifndef CLI_BASE_DAEMON_LOG_H
#define CLI_BASE_DAEMON_LOG_H

#include <ctime>
#include <string>
#include <vector>

#include "cli/base/places.h"

// What a daemon writes to the system log from now on: the only place that says why a message was
// not sent. Read from the files of the host's syslog daemon; if they have nothing, from the
// journal.
class cDaemonLog {
  public:
    cDaemonLog(const sPlaces& places, int pid);

    // Whether there is a log that this user may read.
    bool isReadable() const;

    // The daemon's messages since this object was made, without time and name. Also empty if the
    // log cannot be read.
    std::vector<std::string> messages() const;

    // Whether one of the messages contains the text.
    bool has(const std::string& text) const;
    // The last message that contains one of the texts; "" if none does.
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
    std::string m_journal;          // the socket of the journal, if the host has one
    time_t m_since;
    int m_pid;
};

#endif
