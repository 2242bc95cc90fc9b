#ifndef CONFIG_PLAIN_CONFIG_H
#define CONFIG_PLAIN_CONFIG_H

#include <string>
#include <utility>
#include <vector>

// The keys of a configuration file with their values as written, in the order of reading, without
// user name and password. Lines that are no key of the configuration are left out: a misspelt
// password is still one.
std::vector<std::pair<std::string, std::string>> plainConfigValues(const std::string& path);

#endif
