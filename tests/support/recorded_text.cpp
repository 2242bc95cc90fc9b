#include "tests/support/recorded_text.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/temp_folder.h"

void expectRecorded(const std::string& name, const std::string& text) {
    const std::string path = std::string(TESTS_DATA) + "/" + name;
    if (getenv("CELLSLOT_RENEW_RECORDINGS") != nullptr) writeFile(path, text);
    EXPECT_EQ(readFile(path), text)
        << path << ": where the change is meant, run scripts/renew_status_data.sh";
}
