#ifndef TESTS_SUPPORT_RECORDED_TEXT_H
#define TESTS_SUPPORT_RECORDED_TEXT_H

#include <set>
#include <string>

// Expects exactly the text of a file below tests/data. If CELLSLOT_RENEW_RECORDINGS is set in the
// environment, the file is written instead (scripts/renew_status_data.sh).
void expectRecorded(const std::string& name, const std::string& text);

// The same for any file; how: the script that writes it again.
void expectFile(const std::string& path, const std::string& text, const std::string& how);

// The names, without the extension, of the files of a folder below tests/data.
std::set<std::string> recordedNames(const std::string& folder, const std::string& extension);

#endif
