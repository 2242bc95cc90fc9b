#ifndef HTTP_HOST_NAMES_H
#define HTTP_HOST_NAMES_H

#include <string>
#include <vector>

#include "cli/base/settings_file.h"

// The setting HOSTS: names by which browsers may ask for a page, divided by blanks or commas; in
// lower case. Throws a cFailure that names file, line and what is expected.
std::vector<std::string> hostNames(const sSetting& setting, const std::string& file);

#endif
