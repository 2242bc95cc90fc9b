#ifndef TESTS_SUPPORT_MOUNTED_FOLDER_H
#define TESTS_SUPPORT_MOUNTED_FOLDER_H

#include <string>

// Mounts a file system in memory over a folder as long as the object exists. For tests in a
// namespace of their own.
class cMountedFolder {
  public:
    // options: of tmpfs, for example "size=64k".
    explicit cMountedFolder(std::string folder, const char* options = nullptr);
    ~cMountedFolder();
    cMountedFolder(const cMountedFolder&) = delete;
    cMountedFolder& operator=(const cMountedFolder&) = delete;

    const std::string& folder() const { return m_folder; }

  private:
    std::string m_folder;
};

#endif
