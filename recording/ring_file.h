#ifndef RECORDING_RING_FILE_H
#define RECORDING_RING_FILE_H

#include <cstddef>
#include <string>

// A recording's two files: one that grows, and the one before it. Together they hold the last part
// of what was recorded. Each line is written whole; a process that is killed leaves at most the
// last line torn, and only if the kernel was interrupted in it.
class cRingFile {
  public:
    ~cRingFile() { close(); }
    cRingFile() = default;
    cRingFile(const cRingFile&) = delete;
    cRingFile& operator=(const cRingFile&) = delete;

    // Opens the file for appending; a torn last line is cut off. maxBytes is for each of the two
    // files. Both names must be in a folder that only root may write. False with errno set on
    // failure.
    bool open(const std::string& path, const std::string& olderPath, size_t maxBytes);
    bool isOpen() const { return m_file != -1; }
    void close();

    // Whether lines of this size belong into a new file.
    bool isFullFor(size_t bytes) const { return m_size > 0 && m_size + bytes > m_maxBytes; }
    // The file becomes the older one, and an empty one takes its place.
    bool turn();
    // Writes whole lines. On failure nothing of them is left in the file, errno says why.
    bool write(const char* lines, size_t size);
    bool write(const std::string& lines) { return write(lines.data(), lines.size()); }

  private:
    bool openCurrent();
    bool cutTornLine();

    std::string m_path;
    std::string m_olderPath;
    size_t m_maxBytes = 0;
    size_t m_size = 0;
    int m_file = -1;
};

// Appends a recording's file to an open file. False with errno set on failure.
bool appendFile(const std::string& path, int target);

#endif
