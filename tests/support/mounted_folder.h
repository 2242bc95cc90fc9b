#ifndef TESTS_SUPPORT_MOUNTED_FOLDER_H
#define TESTS_SUPPORT_MOUNTED_FOLDER_H

#include <string>

// A file system in memory in the place of a folder, as long as it lives. For tests in a namespace
// of their own.
class cMountedFolder {
  public:
    // options: of tmpfs, "size=64k" for instance.
    explicit cMountedFolder(std::string folder, const char* options = nullptr);
    ~cMountedFolder();
    cMountedFolder(const cMountedFolder&) = delete;
    cMountedFolder& operator=(const cMountedFolder&) = delete;

    const std::string& folder() const { return m_folder; }

  private:
    std::string m_folder;
};

#endif
