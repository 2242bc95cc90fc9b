#ifndef CLI_BASE_DRAFT_FILE_H
#define CLI_BASE_DRAFT_FILE_H

#include <sys/stat.h>

#include <string>

// Makes a file appear under its name whole or not at all: it is written under a temporary name and
// then renamed. A draft that is not renamed is removed. Links are not followed: the draft replaces
// the link, not its target. Failures throw cFailure.
class cDraftFile {
  public:
    // folder: on the file system of the final name, and one whose readers ignore the draft's name.
    cDraftFile(const std::string& folder, mode_t mode);
    ~cDraftFile();
    cDraftFile(const cDraftFile&) = delete;
    cDraftFile& operator=(const cDraftFile&) = delete;

    // Writes all of it to the disk before it returns. Makes no copy: the data may be a secret.
    void write(const char* data, size_t size);
    void write(const std::string& text) { write(text.data(), text.size()); }

    // Its device, inode and times, by which it is recognised after the rename too.
    void describe(struct stat& info) const;

    // Renames the draft to path; replaces an existing file.
    void replace(const std::string& path);
    // Links the draft to path only if nothing has that name; otherwise returns false.
    bool putWhereFree(const std::string& path);

  private:
    std::string m_path;
    int m_file = -1;
};

// Replaces a file that the operator has named, or makes it. The path may be relative.
void replaceFile(const std::string& path, const std::string& text, mode_t mode);

#endif
