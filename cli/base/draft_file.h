#ifndef CLI_BASE_DRAFT_FILE_H
#define CLI_BASE_DRAFT_FILE_H

#include <sys/stat.h>

#include <string>

// A file that appears under its name whole or not at all: it is written beside its place, under a
// name of its own, and then put there. A draft that is not put anywhere is removed again. Links are
// neither followed nor overwritten in what they lead to. Failures throw cFailure.
class cDraftFile {
  public:
    // folder: on the same file system as the place, where nobody takes the draft for the file.
    cDraftFile(const std::string& folder, mode_t mode);
    ~cDraftFile();
    cDraftFile(const cDraftFile&) = delete;
    cDraftFile& operator=(const cDraftFile&) = delete;

    // All of it, on the disk before it returns. No copy is made: it may be a secret.
    void write(const char* data, size_t size);
    void write(const std::string& text) { write(text.data(), text.size()); }

    // What tells it from other files, also once it is in its place.
    void describe(struct stat& info) const;

    // Takes the place of what has the name now.
    void replace(const std::string& path);
    // Only when nothing has the name; false when something has.
    bool putWhereFree(const std::string& path);

  private:
    std::string m_path;
    int m_file = -1;
};

#endif
