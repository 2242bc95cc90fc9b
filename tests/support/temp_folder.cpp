#include "tests/support/temp_folder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

cTempFolder::cTempFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "cellslot-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

cTempFolder::~cTempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void writeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

bool fileExists(const std::string& path) {
    return std::filesystem::exists(path);
}
