#include "tests/support/recorded_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "tests/support/temp_folder.h"

void expectRecorded(const std::string& name, const std::string& text) {
    expectFile(std::string(TESTS_DATA) + "/" + name, text, "scripts/renew_status_data.sh");
}

void expectFile(const std::string& path, const std::string& text, const std::string& how) {
    if (getenv("CELLSLOT_RENEW_RECORDINGS") != nullptr) writeFile(path, text);
    EXPECT_EQ(readFile(path), text) << path << ": where the change is meant, run " << how;
}

std::set<std::string> recordedNames(const std::string& folder, const std::string& extension) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(TESTS_DATA "/" + folder))
        if (entry.path().extension() == extension) names.insert(entry.path().stem());
    return names;
}
