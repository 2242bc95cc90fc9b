#ifndef PLATFORM_INCLUDE_FILE_VECTOR_H
#define PLATFORM_INCLUDE_FILE_VECTOR_H

#include <sys/types.h>

#include <string>

// The lines of a text file that is written whole. It starts empty, whatever the file holds.
class cFileVector {
  public:
    // Names of temporary files begin so; whoever owns a folder may remove what a kill left there.
    static constexpr const char* TEMPORARY_NAME_PREFIX = ".cellslot-tmp-";

    // newFileMode: mode of a file that does not exist yet; an existing file keeps mode and owner.
    explicit cFileVector(const std::string& path, mode_t newFileMode = 0644);

    void AppendLine(const std::string& text, bool withLineEnd = true);
    void clear();

    // The folder that the temporary file of Write is made in, instead of the target's own. For
    // folders whose listing other programs act on. Where it is not on the same file system, the
    // target's own folder has to do.
    void SetTemporaryDirectory(const std::string& directory);

    // Replaces the file by the lines (none: an empty file) at once: readers see the old content or
    // the new, never a part. A symbolic link in the target's place is replaced, not followed.
    // Returns false, with the cause in the system log, when the file could not be written whole;
    // it is then as it was.
    bool Write();

    // Adds the lines at the end of the file, which is created when missing. A symbolic link in its
    // place is not followed. Returns false, with the cause in the system log, on failure; nothing
    // is added then.
    bool WriteAppend();

  private:
    std::string m_path;
    std::string m_temporaryDirectory;
    mode_t m_newFileMode;
    std::string m_content;
};

#endif
