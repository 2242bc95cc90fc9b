#ifndef PLATFORM_INCLUDE_FILE_VECTOR_H
#define PLATFORM_INCLUDE_FILE_VECTOR_H

#include <sys/types.h>

#include <string>

// The lines of a text file that is written whole. It starts empty, whatever the file contains.
class cFileVector {
  public:
    // Prefix of the names of temporary files; the owner of a folder may remove those that a killed
    // process left.
    static constexpr const char* TEMPORARY_NAME_PREFIX = ".cellslot-tmp-";

    // newFileMode: mode of a file that does not exist yet; an existing file keeps mode and owner.
    explicit cFileVector(const std::string& path, mode_t newFileMode = 0644);

    void AppendLine(const std::string& text, bool withLineEnd = true);
    void clear();

    // The folder in which Write makes its temporary file, instead of the target's folder. Use it if
    // other programs act on every file in the target's folder. If it is on another file system, the
    // target's folder is used.
    void SetTemporaryDirectory(const std::string& directory);

    // Replaces the file by the lines (none: an empty file) atomically: readers see the old content
    // or the new, never a part, also after a power cut. A symbolic link in the target's place is
    // replaced, not followed. If the file cannot be written whole, returns false, logs the cause,
    // and leaves the file unchanged.
    bool Write();

    // Adds the lines at the end of the file; creates a missing file. Does not follow a symbolic
    // link. On failure returns false, logs the cause, and adds nothing.
    bool WriteAppend();

  private:
    const char* replaceFrom(const std::string& folder);

    std::string m_path;
    std::string m_temporaryDirectory;
    mode_t m_newFileMode;
    std::string m_content;
    std::string m_temporaryPath;  // a member only to keep its memory
};

#endif
