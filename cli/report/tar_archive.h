#ifndef CLI_REPORT_TAR_ARCHIVE_H
#define CLI_REPORT_TAR_ARCHIVE_H

#include <ctime>
#include <string>

// A tar archive in memory, in the ustar format of POSIX.1-1988, which every tar reads.
class cTarArchive {
  public:
    // Adds a file of mode 0600. Throws std::length_error if the name is longer than 100 characters.
    void add(const std::string& name, const std::string& content, time_t time);
    // The archive with its end.
    std::string text() const;

  private:
    std::string m_text;
};

#endif
