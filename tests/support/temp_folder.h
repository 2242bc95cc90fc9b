#ifndef TESTS_SUPPORT_TEMP_FOLDER_H
#define TESTS_SUPPORT_TEMP_FOLDER_H

#include <string>

// A folder for one test, removed with its content at the end.
class cTempFolder {
  public:
    cTempFolder();
    ~cTempFolder();
    cTempFolder(const cTempFolder&) = delete;
    cTempFolder& operator=(const cTempFolder&) = delete;

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

void writeFile(const std::string& path, const std::string& content);
// The content of a file, empty if there is no file.
std::string readFile(const std::string& path);
bool fileExists(const std::string& path);

#endif
